#pragma once

#include <exception>
#include <string>

namespace orvan::sdk {

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

}  // namespace orvan::sdk
