#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "boundary/orvan_service_plan.h"
#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_status.h"
#include "frontend/cli_diagnostic.h"
#include "frontend/cli_flags.h"
#include "frontend/option_table.h"
#include "frontend/result_codes.h"
#include "system/timer.h"

class CliEventQueue;
class CliSuiteListener;
class CliTestListener;
class DiagModule;
class DiagTool;
class HostNumberHandler;
class HostSignalHandler;
class HostSystemEvents;
class HostTimeHandler;
class OrvanStdio;
class ProductVersion;
class StringHandler;
class ThreadCompletion;
namespace tarvex {
class ConsoleStream;
}

// The one application object: built by the entry point, it parses the command line, carries out
// the one course that the line asks for, and its destructor is the one teardown. All operations
// are for the main thread. The fields are open, since the operations of all families work on them.
class Cli {
 public:
  // `console` is where the program prints, and outlives the object.
  Cli(HostSystemEvents* events, tarvex::ConsoleStream& console);
  ~Cli();
  Cli(const Cli&) = delete;
  Cli& operator=(const Cli&) = delete;

  // Parses the line, chooses the view, shows banner, failures and warnings, and hands the settings
  // to the service. 0 when the run may go on. Never the exit status.
  int Parse(int argc, char** argv);
  // Chooses and opens the view; 0, or kParseFile when the report file could not be opened (the
  // view is the console then).
  int CreateView();
  // The courses. Each does nothing unless its flag is set.
  void ShowInformation();
  void RunSelection();  // may throw InvalidAppKey
  void RunAll();        // may throw InvalidAppKey
  void HandOverToTool(int argc, char** argv);
  // Starts this program again, detached; 0 when it runs.
  int LaunchInBackground(int argc, char** argv);
  // The closing line of a background run's report.
  void WriteExecutionStatus();

  // `result`; kResultNone becomes 0 first.
  std::int32_t ExitStatus();
  // Takes the code unless `result` holds one of a finished test that outranks it.
  void MergeResult(std::int32_t code);
  // Takes the code of the status unless `result` is as bad or worse.
  void FoldStatus(TestStatus status);
  // Appends the text unless it is there already.
  void AddWarning(const std::string& text);
  std::string ApplicationName() const;
  std::string ApplicationVersion() const;

  // Option parsing. Texts of failures are keys; results are parse codes.
  int ParseCommandLine(int argc, char** argv, std::string& errorText);
  int BuildOptionTable();
  // 0, or 1 when the text does not have three or four parts.
  int ParseCaller(const std::string& text, CallerInfo& caller);
  bool SelectRunAllKind(const std::string& word);
  DiagModule* FindModule(const std::string& name);
  DiagTool* FindTool(ModuleSelection& selection, const std::string& name);

  // The diagnostic grammar.
  int ScanDeviceTokens(int argc, char** argv, bool finalPass, std::string& errorText);
  int AddDiagnostic(char optionValue, const char* optionText, std::string& errorText);
  DiagDiagnostic* FindDiagnostic(const ModuleSelection& selection, const std::string& optionText);
  DiagTest* FindTest(const CliDiagnostic& diagnostic, const std::string& name);
  int ParseDiagnostic(const std::shared_ptr<CliDiagnostic>& diagnostic, std::string& errorText);
  int SplitTests(const std::string& text, std::vector<std::string>& out, std::string& errorText);
  int CheckParentheses(const std::string& text, std::string& errorText);
  int ParseTest(const std::string& text, CliDiagnostic& diagnostic, std::string& errorText);
  int ParseParameters(CliTest& test, std::string& errorText);

  // Validation.
  int ValidateSelections(std::string& errorText);
  void ComposeWarnings();
  void ReportUnavailableModules();

  // Run plan.
  void BuildRunPlan(ModuleSelection* selection);
  static std::size_t CountPlannedTests(const std::vector<DeviceRunPlan>& plans);
  bool HasPlannedTests(const ModuleSelection* selection) const;

  // Run driver.
  int RunModule(ModuleSelection* selection);

  // Listings and help.
  // Calls `onRedraw` each time before the line of a scan that goes on is drawn again.
  void ScanModuleDevices(ModuleSelection* selection, const std::function<void()>& onRedraw = {});
  void ShowGeneralHelp();
  void ShowToolHint(DiagTool* tool, const std::string& moduleName);

  // Fields, in their order of life.
  std::vector<DiagModule*>* modules = nullptr;  // owned by the service; null: nothing loaded
  std::unique_ptr<OrvanStdio> view;
  HostSignalHandler* signalHandler = nullptr;
  StringHandler* stringHandler = nullptr;
  HostTimeHandler* timeHandler = nullptr;
  HostNumberHandler* numberHandler = nullptr;
  Timer* timer = nullptr;
  std::unique_ptr<ThreadCompletion> threadStatus;
  std::unique_ptr<CliSuiteListener> suiteListener;
  std::unique_ptr<CliTestListener> testListener;
  std::unique_ptr<ProductVersion> productVersion;
  NamedRecords<ModuleSelection> selectedModules;
  OptionTable optionTable;
  const OptionRecord* optionTableData = nullptr;
  std::uint32_t flags = 0;
  std::vector<std::string> warnings;
  std::string currentModule;  // lower case
  CallerInfo callerInfo;
  std::int32_t lastModuleArgIndex = 0;
  std::int32_t argsScanned = 0;
  std::int32_t optionsSeen = 0;
  std::int64_t groupId = 0;  // seconds since the epoch, unless the user named a group
  std::string shortOptions;
  std::unique_ptr<CliEventQueue> eventQueue;
  std::vector<std::string> duplicatedModules;
  std::vector<std::string> duplicatedDevices;
  std::vector<std::string> duplicatedTests;
  std::vector<std::string> testsTakenAsDevices;
  std::vector<std::string> testsWithSurplusArguments;
  std::string toolName;
  DiagTool* chosenTool = nullptr;          // owned by the service
  DiagModule* chosenToolModule = nullptr;  // owned by the service
  std::int32_t result = kResultNone;
  bool bootable = false;  // nothing in the front end sets it
  std::string outputFile;
  std::set<const char*> consumedArgs;  // arguments that an option took as its value
  NamedRecords<ModuleSelection> runAllModules;
  bool runAllQuick = false;
  bool runAllExtended = false;
  bool runAllOnlyUnattended = false;
  HostSystemEvents* systemEvents = nullptr;
  std::string savePath;
  std::uint32_t savedOutputCodePage = 0;
  std::exception_ptr keptException;  // the InvalidAppKey that ended a run

 private:
  struct CommandLine {
    int argc = 0;
    char** argv = nullptr;
  };

  CommandLine line_;  // the one in hand; empty but in ParseCommandLine
  tarvex::ConsoleStream& console_;
  bool firstCancelSeen_ = false;  // the first canceled test keeps its time, later ones show none
};
