#include "system/win_string_handler_imp.h"

WinStringHandlerImp& WinStringHandlerImp::Instance() {
  static WinStringHandlerImp handler;
  return handler;
}
