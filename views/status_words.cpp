#include "views/status_words.h"

#include <array>

namespace tarvex {
namespace {

// By status. The console's word for an unrecognized status is spelled differently from the
// record's.
constexpr std::array<StatusWords, 7> kRows{{
    {"PASSED", '1', "PASSED"},
    {"FAILED", '0', "FAILED"},
    {"URECOGNIZED", '5', "UNRECOGNIZED"},
    {"NOT_APPLICABLE", '2', nullptr},
    {"CANCELED", '4', "CANCELED"},
    {"WARNING", '3', "WARNING"},
    {"INVALID", '5', "INVALID"},
}};

constexpr StatusWords kAnyOther{"NONE", '5', ""};

}  // namespace

const StatusWords& WordsOf(TestStatus status) {
  return status < kRows.size() ? kRows[status] : kAnyOther;
}

}  // namespace tarvex
