#include "service/core/log.h"

#include <gtest/gtest.h>

#include "service/core/test_support.h"

namespace orvan::core {
namespace {

using testing::TemporaryFolder;
using Lines = std::vector<std::string>;

TEST(ServiceLog, BeginsWithTheVersionOfTheFormatAndTheRun) {
  TemporaryFolder folder;
  LogSubject subject;
  subject.program = "/usr/bin/program";
  subject.version = "5.0.0.0";
  ServiceLog log(folder.Path("state/log"), subject);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("state")));
  log.Text(LogSeverity::kWarning, "first");
  EXPECT_EQ(testing::LogLines(folder.Path("state/log")),
            (Lines{R"("schemaVersion":{"major":2,"minor":0}})",
                   R"("testRunArtifact":{"testRunStart":{"name":"Tarvex Diagnostics",)"
                   R"("version":"5.0.0.0","commandLine":"/usr/bin/program","parameters":{},)"
                   R"("dutInfo":{"dutInfoId":"0","softwareInfos":[],"hardwareInfos":[]}}}})",
                   R"("testRunArtifact":{"log":{"severity":"WARNING","message":"first"}}})"}));
}

}  // namespace
}  // namespace orvan::core
