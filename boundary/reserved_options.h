#pragma once

#include <algorithm>
#include <array>
#include <string_view>

// An option that the front end has itself. Modules share its command line: each diagnostic of a
// module is an option, too.
struct ReservedOption {
  char letter;
  std::string_view longName;
};

// In the order in which the front end's scanner compares long names.
inline constexpr std::array kReservedOptions{
    ReservedOption{'S', "list-tools"},
    ReservedOption{'A', "list-modules"},
    ReservedOption{'D', "list-devices"},
    ReservedOption{'R', "list-resources"},
    ReservedOption{'L', "list-diagnostics"},
    ReservedOption{'P', "list-parameters"},
    ReservedOption{'M', "module"},
    ReservedOption{'h', "help"},
    ReservedOption{'v', "version"},
    ReservedOption{'G', "group"},
    ReservedOption{'T', "tool"},
    ReservedOption{'b', "background"},
    ReservedOption{'Y', "obg-instance"},
    ReservedOption{'U', "run-all"},
    ReservedOption{'C', "Caller"},
    ReservedOption{'V', "validate"},
    ReservedOption{'s', "save"},
    ReservedOption{'X', "HDK"},
    ReservedOption{'e', "data-collection"},
    ReservedOption{'W', "wmi"},
    ReservedOption{'r', "remove-wmi"},
    ReservedOption{'o', "output"},
};

constexpr bool IsOptionLetter(char letter) {
  return std::any_of(kReservedOptions.begin(), kReservedOptions.end(),
                     [letter](const ReservedOption& option) { return option.letter == letter; });
}

// Whether a diagnostic with that option would never be reached: the front end takes the letter for
// its own, or the scanner gives it a meaning. Letters are printable ASCII.
constexpr bool IsReservedLetter(char letter) {
  constexpr std::string_view kOfTheScanner = "?:;-";
  return letter <= ' ' || letter > '~' || kOfTheScanner.find(letter) != std::string_view::npos ||
         IsOptionLetter(letter);
}

// Whether a diagnostic with that long name would never be reached by it.
constexpr bool IsReservedLongName(std::string_view name) {
  return std::any_of(kReservedOptions.begin(), kReservedOptions.end(),
                     [name](const ReservedOption& option) { return option.longName == name; });
}

static_assert(IsReservedLetter('h') && IsReservedLetter('?') && !IsOptionLetter('?') &&
              !IsReservedLetter('Q'));
static_assert(IsReservedLongName("Caller") && !IsReservedLongName("caller"));
