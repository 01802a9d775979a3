#include "service/sdk/message_key.h"

#include <gtest/gtest.h>

namespace orvan::sdk {
namespace {

TEST(KeyOf, MakesBlanksUnderscoresAndLettersCapitals) {
  EXPECT_EQ(KeyOf("error 5 (input/output error)"), "ERROR_5_(INPUT/OUTPUT_ERROR)");
  EXPECT_EQ(KeyOf(""), "");
}

TEST(KeyOf, LeavesWhatIsNoAsciiAsItIs) {
  EXPECT_EQ(KeyOf("az {~\xC3\xA4"), "AZ_{~\xC3\xA4");
}

}  // namespace
}  // namespace orvan::sdk
