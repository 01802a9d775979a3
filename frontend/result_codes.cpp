#include "frontend/result_codes.h"

#include <algorithm>
#include <array>

namespace {

// An error takes the place of a code that holds no more than the error weighs. Codes that are not
// listed do neither.
struct CodeRow {
  std::int32_t code;
  int hold;
  int weight;
};
constexpr std::array kCodes{
    CodeRow{kResultFailed, 10, 0},
    CodeRow{kResultWarning, 9, 0},
    CodeRow{kResultCanceled, 8, 0},
    CodeRow{kResultPassed, 7, 0},
    CodeRow{kResultNotApplicable, 5, 0},
    CodeRow{kResultNoModule, 0, 5},
    CodeRow{kResultNoDevice, 0, 4},
    CodeRow{kResultNothingToRun, 0, 3},
    CodeRow{33, 0, 2},
    CodeRow{kResultNoTool, 0, 1},
};

CodeRow RowOf(std::int32_t code) {
  const auto* row = std::find_if(kCodes.begin(), kCodes.end(),
                                 [code](const CodeRow& entry) { return entry.code == code; });
  return row == kCodes.end() ? CodeRow{code, 0, 0} : *row;
}

// The rank of the status whose code that is; 0 for any other code.
int RankOf(std::int32_t code) {
  const auto& rows = tarvex::kTestStatusRows;
  const auto* row = std::find_if(rows.begin(), rows.end(),
                                 [code](const auto& entry) { return entry.exitCode == code; });
  return row == rows.end() ? 0 : row->rank;
}

static_assert(std::all_of(tarvex::kTestStatusRows.begin(), tarvex::kTestStatusRows.end(),
                          [](const tarvex::TestStatusRow& row) {
                            return row.exitCode != kResultNone || row.rank == 0;
                          }),
              "a status without an exit code has a rank, so no result would outrank others");

}  // namespace

bool MayReplace(std::int32_t held, std::int32_t code) {
  return RowOf(held).hold <= RowOf(code).weight;
}

bool MayReplace(std::int32_t held, const tarvex::TestStatusRow& status) {
  return status.rank > RankOf(held);
}
