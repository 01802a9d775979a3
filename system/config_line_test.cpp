#include "system/config_line.h"

#include <gtest/gtest.h>

#include <chrono>
#include <locale>
#include <random>
#include <regex>
#include <string>
#include <vector>

namespace tarvex {
namespace {

std::regex Compile(const char* pattern) {
  std::regex expression;
  expression.imbue(std::locale::classic());
  expression.assign(pattern, std::regex::ECMAScript);
  return expression;
}

struct Rule {
  const char* pattern;
  bool (*isFound)(std::string_view line);
  std::regex expression = Compile(pattern);
};

const std::vector<Rule>& Rules() {
  static const std::vector<Rule> rules{
      {R"(^\s*$)", IsBlankLine},
      {R"((\[\s*\w+\[)|(\[\[))", HasSecondOpening},
      {R"((\]\s*\w+\])|(\]\]))", HasSecondClosing},
      {R"((=\s*\w+=)|(==))", HasSecondEquals},
      {R"(((=\w+(\[|\]))|((\[|\]))\w+=)|(\[=)|(\]=)|(=\[)|(=\]))", HasBracketAtEquals},
      {R"((\[\]{0}[\w]+)|(\]{0}[\w]+\[+))", HasOpeningAtWord},
      {R"((\[{0}[\w]+\]+)|(\]\[{0}[\w]+))", HasClosingAtWord},
      {R"((\]\w+\[)|(\]\[))", HasReversedBrackets},
      {R"(\[\s*\]+)", HasEmptyBrackets},
      {R"(^\s*=\s*[\w]+)", IsValueWithoutKey},
      {R"(^[\w]+\s*=\s*$)", IsKeyWithoutValue},
  };
  return rules;
}

std::string SectionByExpression(const std::string& line) {
  static const std::regex expression = Compile(R"(\[([\w\s*]+)\])");
  std::smatch parts;
  return std::regex_search(line, parts, expression) ? "found " + parts.str(1) : "none";
}

std::string PairByExpression(const std::string& line) {
  static const std::regex expression = Compile(R"(([\w]+)\s*=\s*([^]+)$)");
  std::smatch parts;
  return std::regex_search(line, parts, expression) ? parts.str(1) + "\n" + parts.str(2) : "none";
}

std::string Section(const std::string& line) {
  const auto name = FindSectionName(line);
  return name ? "found " + std::string(*name) : "none";
}

std::string Pair(const std::string& line) {
  const auto pair = FindPair(line);
  return pair ? std::string(pair->key) + "\n" + std::string(pair->value) : "none";
}

void ExpectAsByExpressions(const std::string& line) {
  for (const Rule& rule : Rules()) {
    ASSERT_EQ(rule.isFound(line), std::regex_search(line, rule.expression))
        << rule.pattern << " in \"" << line << '"';
  }
  ASSERT_EQ(Section(line), SectionByExpression(line)) << '"' << line << '"';
  ASSERT_EQ(Pair(line), PairByExpression(line)) << '"' << line << '"';
}

TEST(ConfigLineSearch, EveryLineOfUpToSevenSignsIsReadAsByTheExpressions) {
  constexpr std::string_view kSigns = "[]=a *";
  for (std::size_t length = 0; length <= 7; ++length) {
    std::vector<std::size_t> digits(length, 0);
    bool isLast = false;
    while (!isLast) {
      std::string line;
      for (const std::size_t digit : digits) line += kSigns[digit];
      ASSERT_NO_FATAL_FAILURE(ExpectAsByExpressions(line));
      std::size_t at = 0;
      while (at < length && ++digits[at] == kSigns.size()) digits[at++] = 0;
      isLast = at == length;
    }
  }
}

TEST(ConfigLineSearch, RandomLinesOfAnyBytesAreReadAsByTheExpressions) {
  std::mt19937 random(20261121);
  constexpr std::string_view kSigns = "[[]]==ab_9  \t\r\v\f*.-\xC3\xA4\x85";
  for (int round = 0; round < 20000; ++round) {
    std::string line(random() % 40, ' ');
    for (char& c : line) {
      c = random() % 50 == 0 ? static_cast<char>(random() % 256) : kSigns[random() % kSigns.size()];
    }
    ASSERT_NO_FATAL_FAILURE(ExpectAsByExpressions(line));
  }
}

// A line of a megabyte, and of all that makes an expression try again and again.
TEST(ConfigLineSearch, TakesTimeInProportionToTheLine) {
  const auto start = std::chrono::steady_clock::now();
  for (const char* unit :
       {"[", "]", "=", "a", " ", "*", "[a", "a]", "= ", "a ", "[ a", "] a", "=a "}) {
    for (const char* head : {"", "[", "]", "=", "a="}) {
      std::string line = head;
      while (line.size() < 1000000) line += unit;
      for (const Rule& rule : Rules()) rule.isFound(line);
      FindSectionName(line);
      FindPair(line);
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
}  // namespace tarvex
