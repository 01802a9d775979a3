#include "frontend/uncaught_error.h"

#include <cstdlib>
#include <exception>
#include <mutex>
#include <string>

#include "system/standard_error.h"
#include "tools/tool_data_error.h"

namespace tarvex {
namespace {

// What is said of the exception that is being handled.
std::string CurrentErrorText() {
  try {
    if (std::current_exception() == nullptr) return "ended without an error that could be told";
    throw;
  } catch (const ToolDataError& error) {
    return std::string(error.what()) + ": " + error.Missing();
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "an error of unknown type";
  }
}

[[noreturn]] void EndWithALine() {
  // Of several threads that fail at once the first speaks; the others wait here for the end.
  static std::mutex first;
  first.lock();
  try {
    TellOnStandardError(CurrentErrorText());
  } catch (...) {
    // No memory for the line. The end is the same.
  }
  std::abort();
}

}  // namespace

void TellOfUncaughtErrors() {
  std::set_terminate(&EndWithALine);
}

}  // namespace tarvex
