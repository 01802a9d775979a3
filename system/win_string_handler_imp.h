#pragma once

#include "system/string_handler_imp.h"

// The string handler that the program uses. Stateless; any thread.
class WinStringHandlerImp : public StringHandlerImp {
 public:
  // The process-wide string handler, made on first use.
  static WinStringHandlerImp& Instance();
};
