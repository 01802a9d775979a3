#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "frontend/program.h"
#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

// Names the pipe on which a relaunched test program tells what it is.
constexpr char kPipeVariable[] = "TARVEX_TEST_BACKGROUND_PIPE";

// "arguments, each in brackets; folder; what descriptors 0 to 2 are".
std::string DescribeThisProcess() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::string text;
  for (std::string argument; std::getline(file, argument, '\0');) text += "[" + argument + "]";
  text += ";" + std::filesystem::current_path().string();
  for (const char* stream : {"0", "1", "2"}) {
    text += ";" + std::filesystem::read_symlink("/proc/self/fd/" + std::string(stream)).string();
  }
  return text;
}

// A relaunch starts this very test program. Before anything of it runs, that second instance tells
// what it is and ends.
struct SecondInstance {
  SecondInstance() {
    const char* path = getenv(kPipeVariable);
    if (path == nullptr) return;
    const int pipe = open(path, O_WRONLY | O_CLOEXEC);
    const std::string text = DescribeThisProcess() + "\n";
    const bool told = write(pipe, text.data(), text.size()) > 0;
    _exit(told ? 0 : 1);
  }
} const kSecondInstance;

class Background : public FrontEndTest {
 protected:
  Background() {
    AddStorage();
    const std::string path = folder + "/pipe";
    mkfifo(path.c_str(), 0600);
    pipe_ = open(path.c_str(), O_RDWR | O_CLOEXEC);
    setenv(kPipeVariable, path.c_str(), 1);
  }
  ~Background() override {
    unsetenv(kPipeVariable);
    close(pipe_);
  }
  // What the second instance told; empty when none did in a minute.
  std::string Told() {
    pollfd ready{pipe_, POLLIN, 0};
    if (poll(&ready, 1, 60000) != 1) return {};
    std::string text(4096, '\0');
    const ssize_t size = read(pipe_, text.data(), text.size());
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
  }
  static std::string Description(const std::string& arguments) {
    return arguments + ";" + std::filesystem::current_path().string() +
           ";/dev/null;/dev/null;/dev/null\n";
  }

 private:
  int pipe_ = -1;
};

TEST_F(Background, TheSecondInstanceGetsTheSameArgumentsAndTheMarker) {
  EXPECT_EQ(Parse({"-b", "-Mstorage", "-Qf, r", "two words", "a\"quote", "end\\"}), 0);
  EXPECT_EQ(Told(), Description("[TarvexDiagnosticsCLI][-b][-Mstorage][-Qf, r][two words]"
                                "[a\"quote][end\\][--obg-instance]"));
}

TEST_F(Background, TheFirstInstanceChecksAndShowsNothing) {
  EXPECT_EQ(Parse({"-b", "-Mnosuch"}), 0);
  EXPECT_NE(Told(), "");
  EXPECT_TRUE(Has(CLI_FLAG_BACKGROUND));
  EXPECT_EQ(Screen(), "");
  EXPECT_EQ(cli->result, -1);
  EXPECT_TRUE(service().settings.empty());
}

TEST_F(Background, AnEmptyArgumentEndsTheCopying) {
  Start();
  Argv line({"-b", "", "never"});
  EXPECT_EQ(cli->LaunchInBackground(line.Count(), line.Data()), 0);
  EXPECT_EQ(Told(), Description("[TarvexDiagnosticsCLI][-b][--obg-instance]"));
}

TEST_F(Background, TheMarkerStandsInFrontOfTheEndOfTheOptions) {
  EXPECT_EQ(Parse({"-b", "-Mstorage", "--", "0", "--"}), 0);
  EXPECT_EQ(Told(),
            Description("[TarvexDiagnosticsCLI][-b][-Mstorage][--obg-instance][--][0][--]"));
}

TEST_F(Background, ASecondInstanceStartsNoThird) {
  Start();
  Argv line({"-b", "--", "--obg-instance"});
  EXPECT_EQ(cli->LaunchInBackground(line.Count(), line.Data()), 1);
  EXPECT_EQ(Screen(), "");
  // The next one to tell is the one that is started now.
  Argv next({"-b", "x--obg-instance"});
  EXPECT_EQ(cli->LaunchInBackground(next.Count(), next.Data()), 0);
  EXPECT_EQ(Told(), Description("[TarvexDiagnosticsCLI][-b][x--obg-instance][--obg-instance]"));
}

TEST_F(Background, TheProgramEndsWithZeroAndRunsNothing) {
  Argv line({"-b", "-Mstorage"});
  EXPECT_EQ(RunProgram(line.Count(), line.Data(), capture), 0);
  EXPECT_NE(Told(), "");
  EXPECT_TRUE(service().runs.empty());
  EXPECT_EQ(FakeServiceInstances(), 0);
}

TEST_F(Background, TheFirstInstanceWritesNothingIntoTheReport) {
  EXPECT_EQ(Parse({"-b", "-Mstorage", "-o", folder + "/a"}), 0);
  EXPECT_EQ(Told(), Description("[TarvexDiagnosticsCLI][-b][-Mstorage][-o][" + folder +
                                "/a][--obg-instance]"));
  Stop();
  EXPECT_EQ(ReadFile(folder + "/a"), "");
}

TEST_F(Background, AFatalErrorStartsNothing) {
  ExpectFatal({"-b", "-Mstorage", "-D", "0"}, "unnecessary devices chosen", -1, "storage");
}

TEST_F(Background, AStartThatFailsIsReportedAndEndsWithZero) {
  EXPECT_EQ(Parse({"-v"}), 0);
  capture.Take();
  Argv line({"-b"});
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = before;
  none.rlim_cur = 3;
  testing::internal::CaptureStderr();
  setrlimit(RLIMIT_NOFILE, &none);
  const int launched = cli->LaunchInBackground(line.Count(), line.Data());
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(launched, 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "TarvexDiagnosticsCLI: the run in the background could not be started, and nothing was "
            "done: Too many open files\n");
  EXPECT_EQ(Screen(), "CreateProcess failed (" + std::to_string(EMFILE) + ").\n");
  EXPECT_EQ(cli->ExitStatus(), 0);
}

}  // namespace
