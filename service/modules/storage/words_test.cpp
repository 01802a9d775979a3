#include "service/modules/storage/words.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "service/sdk/read_errors.h"

namespace orvan::storage {
namespace {

TEST(TextKey, KeepsCapitalsAndLetsNoTextOfADriveMark) {
  EXPECT_EQ(words::TextKey("SMART READ LOG 01h: no"), "|S|M|A|R|T_|R|E|A|D_|L|O|G_01H:_NO");
  EXPECT_EQ(words::TextKey("a|b_c"), "A/B_C");
  EXPECT_EQ(words::TextKey(""), "");
  EXPECT_EQ(words::SentenceKey("the drive"), "|THE_DRIVE");
  EXPECT_EQ(words::SentenceKey("SCSI"), "|S|C|S|I");
  EXPECT_EQ(words::SentenceKey(""), "");
}

TEST(NoAnswerVerdict, CallsADriveFaultyOnlyWhenItIsGone) {
  using Kind = DriveAnswer::Kind;
  for (const auto& [kind, status] : {std::pair{Kind::kNotSupported, kTestNotApplicable},
                                     {Kind::kNotNow, kTestInvalid},
                                     {Kind::kFailed, kTestWarning},
                                     {Kind::kGarbage, kTestWarning},
                                     {Kind::kTimedOut, kTestWarning},
                                     {Kind::kGone, kTestFailed},
                                     {Kind::kNoPrivilege, kTestInvalid},
                                     {Kind::kNotTried, kTestInvalid}}) {
    const sdk::Verdict verdict = words::NoAnswerVerdict(kind, "LOG SENSE: why");
    EXPECT_EQ(verdict.status, status) << static_cast<int>(kind);
    EXPECT_NE(verdict.message.find("|L|O|G_|S|E|N|S|E:_WHY"), std::string::npos);
  }
  const sdk::Verdict stopped = words::NoAnswerVerdict(Kind::kCanceled, "it was stopped");
  EXPECT_EQ(stopped.status, kTestCanceled);
  EXPECT_EQ(stopped.message, "");
}

TEST(ErrorWords, HasWordsForWhatKeepsTheReaderFromItsWork) {
  for (const int error : {EPERM, EACCES, EBUSY, EMFILE, EPROTO, EPIPE, EAGAIN, ENOSYS}) {
    EXPECT_NE(words::ErrorWords(error), "unknown error") << error;
  }
  // What keeps a command from its drive, a disk from being written, or a file from being kept.
  for (const int error :
       {ENOTTY, EOPNOTSUPP, ENOTBLK, ENOMEDIUM, EROFS, ENOSPC, EFBIG, ESHUTDOWN}) {
    EXPECT_NE(words::ErrorWords(error), "unknown error") << error;
  }
  EXPECT_EQ(words::ErrorWords(sdk::kNotRecorded), "not in the recording");
  EXPECT_EQ(words::ErrorWords(9999), "unknown error");
}

TEST(ErrorText, NamesTheErrorByItsNumberAndItsWords) {
  EXPECT_EQ(words::ErrorText(EIO), "error 5 (input/output error)");
  EXPECT_EQ(words::ErrorText(0), "no usable value");
}

}  // namespace
}  // namespace orvan::storage
