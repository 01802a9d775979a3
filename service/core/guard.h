#pragma once

#include <exception>
#include <string>

#include "service/log/log.h"

namespace orvan::core {

// The text of the exception that is being handled. Only inside a catch block.
inline std::string CurrentExceptionText() {
  try {
    throw;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "an exception of unknown type";
  }
}

// What `call` returns; when it throws, `fallback`, and an error in the log that names `what`.
template <typename Result, typename Call>
Result Guarded(log::ServiceLog& log, const std::string& what, Result fallback, Call&& call) {
  try {
    return call();
  } catch (...) {
    log.Error("exception", what + ": " + CurrentExceptionText());
    return fallback;
  }
}

}  // namespace orvan::core
