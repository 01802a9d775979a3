#pragma once

#include <string>

// The folders that the environment may replace. A program with more rights than its caller keeps
// the defaults. Absent and empty variables count alike. Texts have no closing "/" of their own.
// Any thread, as long as none changes the environment.
namespace tarvex {

// TARVEX_RUN_DIR, else /run/tarvex: locks.
std::string RunFolder();
// TARVEX_STATE_DIR, else /var/lib/tarvex: records and logs.
std::string StateFolder();
// TARVEX_CONFIG_DIR, else /etc/tarvex: settings.
std::string ConfigFolder();
// ORVAN_MODULE_DIR, else `standard`: diagnostic modules.
std::string ModuleFolder(const std::string& standard);
// ORVAN_SCENARIO: the scenario file; empty when there is none.
std::string ScenarioFile();
// ORVAN_RECORD: the file that the machine is recorded into; empty when there is none.
std::string RecordFile();
// ORVAN_REPLAY: the recording that stands in for the machine; empty when there is none.
std::string ReplayFile();

}  // namespace tarvex
