#pragma once

#include <exception>

#include "boundary/export.h"

// The caller's application key is none. Thrown by BeginFinalResult and ApplySettings.
class TARVEX_EXPORT InvalidAppKey : public std::exception {
 public:
  const char* what() const noexcept override { return "the caller's application key is invalid"; }
};

// The caller's cache folder cannot be used. Thrown by ApplySettings.
class TARVEX_EXPORT FailedToVisitLocalCache : public std::exception {
 public:
  const char* what() const noexcept override { return "the caller's cache folder cannot be used"; }
};
