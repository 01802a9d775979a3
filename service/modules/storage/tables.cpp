#include "service/modules/storage/tables.h"

#include <limits>

#include "service/modules/storage/read_tests.h"

namespace orvan::storage {
namespace {

using sdk::DiagnosticRecord;
using sdk::ParameterSpec;
using sdk::TestRecord;

constexpr std::uint64_t kMostBlocks = 16777216;
constexpr std::uint64_t kLargestBlockKib = 4096;
constexpr std::uint64_t kMostSeconds = 604800;  // a week
// Also the greatest seed. Far beyond any disk, and exact in every number that shows it.
constexpr std::uint64_t kGreatestLba = (std::uint64_t{1} << 53) - 1;

ParameterSpec Number(const char* name, const char* label, const char* detail,
                     const std::string& initial, std::uint64_t least, std::uint64_t greatest) {
  const std::string range = std::to_string(least) + '-' + std::to_string(greatest);
  return {name, label, detail, initial, kParameterInteger, range, least, greatest};
}

ParameterSpec Blocks(const char* initial) {
  return Number("blocks", "BLOCKS", "|NUMBER_OF_BLOCKS_TO_READ", initial, 1, kMostBlocks);
}

ParameterSpec BlockKib(const char* initial) {
  return Number("block_kib", "BLOCK_SIZE_KIB", "|SIZE_OF_A_BLOCK_IN_|KI|B", initial, 4,
                kLargestBlockKib);
}

ParameterSpec Seconds(const char* initial) {
  return Number("seconds", "SECONDS", "|BEGIN_NO_BLOCK_AFTER_THIS_TIME,_0:_NO_LIMIT", initial, 0,
                kMostSeconds);
}

ParameterSpec FirstLba() {
  return Number("first_lba", "FIRST_SECTOR", "|FIRST_SECTOR_OF_THE_RANGE", "0", 0, kGreatestLba);
}

ParameterSpec LastLba() {
  return Number("last_lba", "LAST_SECTOR", "|LAST_SECTOR_OF_THE_RANGE,_0:_THE_END_OF_THE_DISK", "0",
                0, kGreatestLba);
}

ParameterSpec Seed() {
  return Number("seed", "SEED", "|SEED_OF_THE_RANDOM_ORDER,_0:_ANOTHER_ONE_EACH_TIME", "0", 0,
                kGreatestLba);
}

// One row per test. The same test in two diagnostics has one identifier.
struct TestRow {
  const char* name;
  const char* option;
  const char* longName;
  std::uint64_t identifier;
  const ReadStyle& (*style)();
  const char* summary;
};

constexpr TestRow kFunnel{
    "FUNNEL_READ_TEST", "f",
    "funnel-read",      1,
    FunnelRead,         "reads outermost and innermost blocks in turn, toward the middle"};
constexpr TestRow kRandom{
    "RANDOM_READ_TEST", "r", "random-read", 2, RandomRead, "reads blocks in a random order"};
constexpr TestRow kLinear{"LINEAR_READ_TEST", "l",
                          "linear-read",      3,
                          LinearRead,         "reads the whole surface from first to last sector"};

TestRecord MakeTest(const TestRow& row, std::vector<ParameterSpec> parameters,
                    const ReadEnvironment& environment) {
  TestRecord test;
  test.name = row.name;
  test.option = row.option;
  test.longName = row.longName;
  test.key = {5, 0, 0, row.identifier};
  test.parameters = parameters;
  test.summary = row.summary;
  test.run = [style = row.style, specs = std::move(parameters),
              environment](sdk::TestContext& context) {
    return RunReadTest(context, environment, style(), specs);
  };
  return test;
}

DiagnosticRecord MakeDiagnostic(const char* name, const char* option, const char* longName,
                                std::uint32_t kind, const char* summary) {
  DiagnosticRecord diagnostic;
  diagnostic.name = name;
  diagnostic.option = option;
  diagnostic.longName = longName;
  diagnostic.key = {5, kind, 0, kind};
  diagnostic.summary = summary;
  return diagnostic;
}

// A message key as a sentence: "_" is a blank, and only the letter behind "|" is a capital.
std::string PlainText(const std::string& key) {
  std::string text;
  bool keepsCapital = false;
  for (const char c : key) {
    const bool isCapital = c >= 'A' && c <= 'Z';
    if (c != '|') {
      text += c == '_' ? ' ' : isCapital && !keepsCapital ? static_cast<char>(c - 'A' + 'a') : c;
    }
    keepsCapital = c == '|';
  }
  return text;
}

void AppendParameters(std::string& text, const TestRecord& test) {
  for (const ParameterSpec& parameter : test.parameters) {
    text += "          " + parameter.name + "=" + parameter.initialValue + "  (" + parameter.extra +
            ")  " + PlainText(parameter.detail) + '\n';
  }
}

}  // namespace

std::vector<DiagnosticRecord> MakeDiagnostics(const ReadEnvironment& environment) {
  DiagnosticRecord quick = MakeDiagnostic("QUICK_TEST", "Q", "quick", kDiagnosticKindQuick,
                                          "samples the surface in seconds");
  quick.tests = {
      MakeTest(kFunnel, {Blocks("1024"), BlockKib("64"), Seconds("30"), FirstLba(), LastLba()},
               environment),
      MakeTest(kRandom,
               {Blocks("4096"), BlockKib("64"), Seconds("10"), FirstLba(), LastLba(), Seed()},
               environment),
  };
  DiagnosticRecord extended =
      MakeDiagnostic("EXTENDED_TEST", "E", "extended", kDiagnosticKindExtended,
                     "samples the surface longer, then reads all of it");
  extended.tests = {
      MakeTest(kFunnel, {Blocks("8192"), BlockKib("64"), Seconds("0"), FirstLba(), LastLba()},
               environment),
      MakeTest(kRandom,
               {Blocks("65536"), BlockKib("64"), Seconds("60"), FirstLba(), LastLba(), Seed()},
               environment),
      MakeTest(kLinear, {BlockKib("1024"), Seconds("0"), FirstLba(), LastLba()}, environment),
  };
  return {std::move(quick), std::move(extended)};
}

std::string MakeHelpText(const std::vector<DiagnosticRecord>& diagnostics) {
  std::string text = "Storage: reads disks and never writes to them.\n";
  for (const DiagnosticRecord& diagnostic : diagnostics) {
    text += "\n  -" + diagnostic.option + ", --" + diagnostic.longName + "  " + diagnostic.summary +
            "\n";
    for (const TestRecord& test : diagnostic.tests) {
      text += "      " + test.option + ", " + test.longName + "  " + test.summary + "\n";
      AppendParameters(text, test);
    }
  }
  return text + "\n  Example: -Mstorage -" + diagnostics.back().option + "\"l(block_kib=512)\" 0\n";
}

}  // namespace orvan::storage
