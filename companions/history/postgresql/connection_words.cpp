#include "companions/history/postgresql/connection_words.h"

#include <array>
#include <string_view>

namespace tarvex::history {
namespace {

struct Advice {
  std::string_view state;  // a SQLSTATE, or its class
  DatabaseError::Kind kind;
  const char* help;
};

using Kind = DatabaseError::Kind;

constexpr char kMigrate[] =
    "make the tables as their owner: /usr/share/tarvex-diagnostics/postgresql/migrate.sh ADDRESS";
constexpr char kHeldUp[] = "another session may hold the tables; run this again, it goes on here";
constexpr char kGone[] = "the server ended the session; run this again, it goes on here";

// A state wins over its class, so states come first.
constexpr std::array<Advice, 15> kAdvice{{
    {"42501", Kind::kOther, "the owner of the tables has to say: GRANT tarvex_loader TO this user"},
    {"42P01", Kind::kOther, kMigrate},
    {"3F000", Kind::kOther, kMigrate},
    {"42703", Kind::kOther, kMigrate},
    {"57014", Kind::kOther, kHeldUp},
    {"55P03", Kind::kOther, kHeldUp},
    {"25006", Kind::kOther, "this server only reads; name the one that may be written"},
    {"53100", Kind::kOther, "the server's disk is full"},
    {"40001", Kind::kAgain, kHeldUp},
    {"40P01", Kind::kAgain, kHeldUp},
    {"57P", Kind::kGone, kGone},
    {"08", Kind::kGone, kGone},
    {"22", Kind::kContent, ""},
    {"23", Kind::kContent, ""},
    {"54", Kind::kContent, ""},  // a limit of the server, such as the length of a name
}};

const Advice* AdviceFor(std::string_view state) {
  for (const Advice& advice : kAdvice) {
    if (state.substr(0, advice.state.size()) == advice.state) return &advice;
  }
  return nullptr;
}

// Lines of libpq, which end each and may go on indented, as one.
std::string OneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool isBlank = c == '\n' || c == '\t' || c == ' ';
    if (!isBlank) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

}  // namespace

DatabaseError::Kind KindOf(const std::string& state) {
  const Advice* const advice = AdviceFor(state);
  return advice != nullptr ? advice->kind : Kind::kOther;
}

std::string WordsOf(const std::string& state, const std::string& text) {
  const Advice* const advice = AdviceFor(state);
  const std::string help = advice != nullptr ? advice->help : "";
  return OneLine(text) + (help.empty() ? "" : "; " + help);
}

std::string AddressWords(const std::string& address, const std::string& reason) {
  const std::size_t scheme = address.find("://");
  const std::size_t colon = address.find(':', scheme == std::string::npos ? 0 : scheme + 3);
  const bool hasSecret =
      address.find("pass") != std::string::npos ||
      (colon != std::string::npos && address.find('@', colon) != std::string::npos);
  return "the address cannot be read" +
         (hasSecret || reason.empty() ? "" : ": " + OneLine(reason)) +
         "; it looks like postgresql://USER@HOST/DATABASE";
}

std::string ConnectWords(const std::string& text, bool needsPassword) {
  return OneLine(text) +
         (needsPassword ? "; write the password into ~/.pgpass, or the file that PGPASSFILE names"
                        : "");
}

}  // namespace tarvex::history
