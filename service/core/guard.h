#pragma once

#include <string>

#include "service/log/log.h"
#include "service/sdk/exception_text.h"

namespace orvan::core {

using sdk::CurrentExceptionText;

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
