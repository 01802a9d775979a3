#include "system/standard_error.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "os/descriptor.h"

namespace tarvex {
namespace {

TEST(StandardError, TellsWhoSpeaks) {
  EXPECT_EQ(NoticeLine("no room"), "TarvexDiagnosticsCLI: no room\n");
}

TEST(StandardError, KeepsUtf8) {
  EXPECT_EQ(NoticeLine("d\u00FCnn \u2713"), "TarvexDiagnosticsCLI: d\u00FCnn \u2713\n");
}

TEST(StandardError, ShowsControlCharactersAsReplacements) {
  EXPECT_EQ(NoticeLine("a\nb\x1b[2J\x7f\u0085\u009B\u202E\u2028"),
            "TarvexDiagnosticsCLI: a\uFFFDb\uFFFD[2J\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\n");
  EXPECT_EQ(NoticeLine("\xff"), "TarvexDiagnosticsCLI: \uFFFD\n");
  EXPECT_EQ(NoticeLine(std::string_view("\0", 1)), "TarvexDiagnosticsCLI: \uFFFD\n");
}

// Puts something else behind descriptor 2 for as long as it lives.
class OtherError {
 public:
  explicit OtherError(int descriptor) : before_(::fcntl(2, F_DUPFD_CLOEXEC, 3)) {
    ::dup2(descriptor, 2);
  }
  ~OtherError() { ::dup2(before_.Get(), 2); }
  OtherError(const OtherError&) = delete;
  OtherError& operator=(const OtherError&) = delete;

 private:
  Descriptor before_;
};

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    read.Reset(ends[0]);
    write.Reset(ends[1]);
  }
  Descriptor read;
  Descriptor write;
};

TEST(StandardError, GoesToDescriptorTwo) {
  Pipe pipe;
  {
    const OtherError error(pipe.write.Get());
    TellOnStandardError("no room");
  }
  std::array<char, 64> bytes{};
  const ssize_t count = ::read(pipe.read.Get(), bytes.data(), bytes.size());
  EXPECT_EQ(std::string(bytes.data(), static_cast<std::size_t>(count)),
            "TarvexDiagnosticsCLI: no room\n");
}

TEST(StandardError, AReaderThatTakesNothingHoldsNobodyUp) {
  Pipe pipe;
  ASSERT_EQ(::fcntl(pipe.write.Get(), F_SETPIPE_SZ, 4096), 4096);
  const std::string full(4096, 'x');
  ASSERT_EQ(::write(pipe.write.Get(), full.data(), full.size()), 4096);
  const OtherError error(pipe.write.Get());
  TellOnStandardError("no room");
}

TEST(StandardError, AClosedDescriptorIsNoFault) {
  const OtherError error(2);
  ::close(2);
  TellOnStandardError("no room");
}

}  // namespace
}  // namespace tarvex
