#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "service/sdk/context.h"
#include "service/sdk/parameter.h"
#include "service/sdk/verdict.h"

// The parameters of a test that are whole numbers from 0 up, or yes and no. One row declares each:
// how it is listed, between which bounds it is taken, and into which field of the test's values it
// is read.
//
//   struct Values {
//     std::uint64_t blocks = 0;
//   };
//   constexpr auto kNumbers = NumbersOf<Values>(
//       Number{"blocks", "BLOCKS", "|NUMBER_OF_BLOCKS_TO_READ", 1, 4096, &Values::blocks});
//   ...
//   WorkOf(kNumbers, Values{.blocks = 64}, [](TestContext& context, const Values& values) {...})
namespace orvan::sdk {

// What of a number does not hang on the values that it is read into.
struct NumberRow {
  const char* name;    // lower case with underscores; the unit ends it
  const char* label;   // message key without bars, for columns are filled up by it
  const char* detail;  // message key
  std::uint64_t least;
  std::uint64_t greatest;
  bool isSwitch = false;  // given as yes or no, and read as 1 or 0
};

template <typename Values>
struct Number : NumberRow {
  constexpr Number(const char* nameText, const char* labelKey, const char* detailKey,
                   std::uint64_t leastValue, std::uint64_t greatestValue,
                   std::uint64_t Values::*valueField)
      : NumberRow{nameText, labelKey, detailKey, leastValue, greatestValue}, field(valueField) {}
  // A number of values that these are derived from.
  template <typename Base>
  requires std::derived_from<Values, Base>
  constexpr Number(const Number<Base>& of) : NumberRow(of), field(of.field) {}

  std::uint64_t Values::*field;
};

// A yes or no, 1 or 0 in its field.
template <typename Values>
constexpr Number<Values> Switch(const char* name, const char* label, const char* detail,
                                std::uint64_t Values::*field) {
  Number<Values> row{name, label, detail, 0, 1, field};
  row.isSwitch = true;
  return row;
}

// The numbers of a test, in the order in which they are listed. Does not compile unless each field
// of Values, all of them std::uint64_t, stands in one row: one that nobody can set is a mistake.
template <typename Values, typename... Rows>
consteval std::array<Number<Values>, sizeof...(Rows)> NumbersOf(const Rows&... rows) {
  static_assert((sizeof...(Rows) == 0 && std::is_empty_v<Values>) ||
                    sizeof(Values) == sizeof...(Rows) * sizeof(std::uint64_t),
                "each field of the values needs its row");
  const std::array<Number<Values>, sizeof...(Rows)> numbers{Number<Values>(rows)...};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (numbers[i].field == numbers[j].field) throw "a field stands in two rows";
    }
  }
  return numbers;
}

// What of a test its row does not tell: the parameters that it takes, and what it does.
struct TestWork {
  std::vector<ParameterSpec> parameters;
  std::function<Verdict(TestContext&)> run;
};

// The verdict on a value that the service let pass and the device or the test cannot take.
Verdict InvalidParameter(const std::string& name);

// The value of decimal digits; none for anything else.
std::optional<std::uint64_t> NumberIn(const std::string& text);
// The value where it lies within the bounds of a row; else none.
std::optional<std::uint64_t> Bounded(const NumberRow& row, std::uint64_t value);
// What a text gives for a row: of a switch "TRUE" and "FALSE" only; none for anything else, and for
// what lies outside its bounds.
std::optional<std::uint64_t> ValueIn(const NumberRow& row, const std::string& text);
// The parameter that a row lists.
ParameterSpec SpecOf(const NumberRow& row, std::uint64_t initial);

// A test that takes `numbers`, whose defaults are `defaults`, and that `run` runs: a function from
// TestContext& and const Values& to Verdict. A run with a value that its row does not allow, be it
// given or a default, is invalid, and `run` is not called.
template <typename Values, std::size_t kCount, typename Run>
TestWork WorkOf(const std::array<Number<Values>, kCount>& numbers, const Values& defaults,
                Run run) {
  TestWork work;
  for (const Number<Values>& number : numbers) {
    work.parameters.push_back(SpecOf(number, defaults.*number.field));
  }
  work.run = [numbers, defaults, run = std::move(run)](TestContext& context) {
    Values values = defaults;
    for (const Number<Values>& number : numbers) {
      const auto given = context.Parameters().find(number.name);
      const std::optional<std::uint64_t> value = given == context.Parameters().end()
                                                     ? Bounded(number, defaults.*number.field)
                                                     : ValueIn(number, given->second);
      if (!value) return InvalidParameter(number.name);
      values.*number.field = *value;
    }
    return run(context, values);
  };
  return work;
}

}  // namespace orvan::sdk
