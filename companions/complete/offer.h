#pragma once

#include <functional>
#include <string>
#include <vector>

class DiagDevice;
class DiagDiagnostic;
class DiagModule;

namespace tarvex::complete {

// What is installed, and what the machine has.
struct Offer {
  std::vector<DiagModule*> modules;
  // Searches the devices of a module; none when there are none, or when the user may not search.
  std::function<std::vector<DiagDevice*>(DiagModule& module)> devicesOf;
};

// The name of a module as the command line takes it.
std::string NameOf(DiagModule& module);
// The module of that name; null when there is none.
DiagModule* FindModule(const Offer& offer, const std::string& name);

// A diagnostic as the command line knows it.
struct OfferedDiagnostic {
  DiagDiagnostic* diagnostic = nullptr;
  char letter = '\0';
  std::string longName;
};
std::vector<OfferedDiagnostic> DiagnosticsOf(DiagModule& module);

}  // namespace tarvex::complete
