#pragma once

#include "boundary/orvan_service_status.h"

namespace tarvex {

// How each channel spells the status of a finished test.
struct StatusWords {
  const char* console;   // key for the console and the report file
  char supervisorDigit;  // digit of the supervisor's line
  const char* record;    // word of the execution record; null: no record is written
};

// The row of `status`; a status outside the list has a row as well. Any thread.
const StatusWords& WordsOf(TestStatus status);

}  // namespace tarvex
