#pragma once

#include <getopt.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "boundary/orvan_service_version.h"
#include "frontend/cli.h"
#include "frontend/thread_completion.h"
#include "system/process_state.h"
#include "tests/fakes/argv.h"
#include "tests/fakes/expected_texts.h"
#include "tests/fakes/fake_host.h"
#include "tests/fakes/fake_service.h"
#include "tests/support/console_capture.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/orvan_stdio.h"

// The front end on a fake host and a fake service, in this process. A test builds the service's
// modules, starts the application object and looks at output, fields and the fakes.
class FrontEndTest : public ::testing::Test {
 protected:
  FrontEndTest() {
    ResetFakeHost();
    ResetFakeService();
    optind = 0;  // starts the scanner afresh
    ProcessState& state = GetProcessState();
    state.service = nullptr;
    state.systemEventWord = 0;
    state.SystemEventHoldMask = 0;
    state.abort.AbortFlag = false;
    char name[] = "/tmp/tarvex_frontend_XXXXXX";
    folder = mkdtemp(name);
    setenv("TARVEX_CONFIG_DIR", folder.c_str(), 1);
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    host().filesystem.programDirectory = folder;
  }
  ~FrontEndTest() override {
    Stop();
    unsetenv("TARVEX_CONFIG_DIR");
    std::filesystem::remove_all(folder);
  }

  static FakeHost& host() { return TheFakeHost(); }
  static FakeService& service() { return TheFakeService(); }

  // Builds the application object.
  Cli& Start() {
    cli = std::make_unique<Cli>(&host().events, capture);
    return *cli;
  }
  void Stop() { cli.reset(); }
  // Parses the words behind the program's name, after Start when there was none.
  int Parse(const std::vector<std::string>& words) {
    if (cli == nullptr) Start();
    argv = std::make_unique<Argv>(words);
    return cli->Parse(argv->Count(), argv->Data());
  }
  // Parses, and carries out the run that the line asks for. What parsing printed is dropped.
  std::string Run(const std::vector<std::string>& words) {
    EXPECT_EQ(Parse(words), 0);
    capture.Take();
    if (cli->flags & CLI_FLAG_RUN_ALL) {
      cli->RunAll();
    } else {
      cli->RunSelection();
    }
    return Settled(capture.Take());
  }
  // Parses, and shows the information that the line asks for. What parsing printed is dropped.
  std::string Inform(const std::vector<std::string>& words) {
    EXPECT_EQ(Parse(words), 0);
    capture.Take();
    cli->ShowInformation();
    return Settled(capture.Take());
  }
  // The line ends in a fatal error of that text, shown with the help, and leaves that result.
  void ExpectFatal(const std::vector<std::string>& words, const std::string& text, int result = -1,
                   const std::string& modules = "storage, memory") {
    EXPECT_EQ(Parse(words), 1);
    const std::string screen = Screen();
    EXPECT_NE(screen.find(FatalText(text) + HelpText(modules)), std::string::npos) << screen;
    EXPECT_EQ(cli->result, result);
    EXPECT_TRUE(Has(CLI_FLAG_HELP));
    EXPECT_EQ(cli->view, nullptr);
  }
  // The line may go on, and that warning is shown.
  void ExpectWarns(const std::vector<std::string>& words, const std::string& text) {
    EXPECT_EQ(Parse(words), 0);
    const std::string screen = Screen();
    EXPECT_NE(screen.find(WarningText(text)), std::string::npos) << screen;
  }
  // All that was printed since the last look, lines as they stand on the screen in the end.
  std::string Screen() { return Settled(capture.Take()); }
  bool Has(std::uint32_t bits) const { return (cli->flags & bits) == bits; }
  bool HasAny(std::uint32_t bits) const { return (cli->flags & bits) != 0; }
  // The selection of that name; fails the test when there is none.
  ModuleSelection& Selection(const std::string& name) {
    ModuleSelection* found = cli->selectedModules.Find(name);
    if (found == nullptr) throw std::runtime_error("no selection " + name);
    return *found;
  }
  std::vector<std::string> DeviceNames(const std::string& module) {
    std::vector<std::string> names;
    for (const auto& entry : Selection(module).devices) names.push_back(entry.first);
    return names;
  }
  static std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  void WriteMachineSetting(const std::string& text) {
    std::ofstream(folder + "/orvan.ini") << text;
  }

  // Module "storage": diagnostic Q "quick" with tests f and r, diagnostic E "extended" with test
  // s; devices 0 and 1.
  FakeModule& AddStorage() {
    FakeModule& module = service().AddModule("storage");
    FakeDiagnostic& quick = module.AddDiagnostic("QUICK_CHECK", "Q", "quick", 1);
    quick.AddTest("FUNNEL_TEST", "f", "funnel");
    quick.AddTest("READ_TEST", "r", "read");
    module.AddDiagnostic("EXTENDED_CHECK", "E", "extended", 2)
        .AddTest("SURFACE_TEST", "s", "surface");
    module.AddDevice("0", "Disk A");
    module.AddDevice("1", "Disk B");
    return module;
  }
  // Module "memory": diagnostic K "kernel" with test m; device 2.
  FakeModule& AddMemory() {
    FakeModule& module = service().AddModule("memory");
    module.AddDiagnostic("KERNEL_CHECK", "K", "kernel", 1).AddTest("MARCH_TEST", "m", "march");
    module.AddDevice("2", "Bank A");
    return module;
  }
  // The n-th test of the n-th diagnostic.
  static FakeTest& TestOf(FakeModule& module, std::size_t diagnostic, std::size_t test) {
    return static_cast<FakeTest&>(*module.diagnosticList.at(diagnostic)->Tests()->at(test));
  }

  std::string folder;
  tarvex::ConsoleCapture capture;
  std::unique_ptr<Argv> argv;
  std::unique_ptr<Cli> cli;
};
