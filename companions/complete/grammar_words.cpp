#include "companions/complete/grammar_words.h"

#include <algorithm>
#include <array>
#include <set>
#include <vector>

#include "boundary/orvan_service.h"
#include "system/ini_file.h"
#include "system/key_format.h"

namespace tarvex::complete {
namespace {

struct OfferedTest {
  DiagTest* test = nullptr;
  std::string option;
  std::string longName;
  std::string summary;
  bool takesParameters = false;
};

std::string Title(const std::string& key) {
  return FormatKey(key, true, true, true);
}

std::vector<OfferedTest> TestsOf(DiagModule& module, DiagDiagnostic& diagnostic) {
  std::vector<OfferedTest> offered;
  const DiagCatalogue* catalogue = module.TestCatalogue();
  if (catalogue == nullptr || diagnostic.Tests() == nullptr) return offered;
  for (DiagTest* test : *diagnostic.Tests()) {
    DiagKey key;
    const auto row = catalogue->find(test->Key(key));
    if (row == catalogue->end() || row->second == nullptr) continue;
    OfferedTest one;
    one.test = test;
    row->second->Option(one.option);
    row->second->LongName(one.longName);
    std::string name;
    one.summary = Title(test->Name(name));
    std::vector<TestParameter> parameters;
    one.takesParameters = !test->DefaultParameters(parameters).empty() &&
                          row->second->ParameterRule() != kParametersNotWanted;
    offered.push_back(std::move(one));
  }
  return offered;
}

// The word in hand up to its last part, and that part.
struct Split {
  std::string before;
  std::string part;
};

Split SplitBehind(const std::string& text, std::size_t from, const char* separators) {
  const std::size_t last = text.find_last_of(separators);
  const std::size_t start = last == std::string::npos || last < from ? from : last + 1;
  return {text.substr(0, start), text.substr(start)};
}

class TestWords {
 public:
  TestWords(Answer& answer, std::vector<OfferedTest> tests)
      : answer_(answer), tests_(std::move(tests)) {}

  void Run(const std::string& before) {
    const std::string& typed = answer_.typed();
    const std::size_t open = typed.rfind('(');
    const std::size_t close = typed.rfind(')');
    const bool isClosed = open == std::string::npos || open < before.size() ||
                          (close != std::string::npos && close > open);
    if (isClosed && typed.ends_with(')')) {
      answer_.Offer(typed);
      if (Taken(typed, before.size()).size() < tests_.size()) answer_.Offer(typed + ",");
    } else if (isClosed) {
      OfferNames(before);
    } else {
      OfferParameters(before, open);
    }
  }

 private:
  const OfferedTest* Find(const std::string& name) const {
    const auto found = std::find_if(tests_.begin(), tests_.end(), [&name](const OfferedTest& one) {
      return one.option == name || one.longName == name;
    });
    return found == tests_.end() ? nullptr : &*found;
  }

  // The tests that stand in the text already, up to its last part.
  std::set<const OfferedTest*> Taken(const std::string& text, std::size_t from) const {
    std::set<const OfferedTest*> taken;
    for (std::size_t pos = from; pos < text.size();) {
      const std::size_t end = std::min(text.find_first_of(",(", pos), text.size());
      taken.insert(Find(text.substr(pos, end - pos)));
      // A comma inside parentheses parts parameters.
      const bool opens = end < text.size() && text[end] == '(';
      const std::size_t behind = opens ? std::min(text.find(')', end), text.size()) : end;
      pos = std::min(text.find(',', behind), text.size()) + 1;
    }
    return taken;
  }

  void OfferNames(const std::string& before) {
    const Split split = SplitBehind(answer_.typed(), before.size(), ",");
    const std::set<const OfferedTest*> taken = Taken(split.before, before.size());
    std::set<const OfferedTest*> fitting;
    for (const OfferedTest& test : tests_) {
      if (taken.contains(&test)) continue;
      OfferName(split, test, test.option, fitting);
      // A bare list is long enough without the long names.
      if (!split.part.empty()) OfferName(split, test, test.longName, fitting);
    }
    if (fitting.size() == 1) OfferContinuations(split.before, **fitting.begin());
  }

  void OfferName(const Split& split, const OfferedTest& test, const std::string& name,
                 std::set<const OfferedTest*>& fitting) {
    if (!IsPlainName(name) || !name.starts_with(split.part)) return;
    fitting.insert(&test);
    answer_.Offer(split.before + name, test.summary);
  }

  // What goes on behind the only test that fits.
  void OfferContinuations(const std::string& before, const OfferedTest& test) {
    for (const std::string& name : {test.option, test.longName}) {
      if (!IsPlainName(name)) continue;
      if (test.takesParameters) answer_.Offer(before + name + "(", test.summary);
    }
  }

  void OfferParameters(const std::string& before, std::size_t open) {
    const std::string& typed = answer_.typed();
    const std::string name = SplitBehind(typed.substr(0, open), before.size(), ",").part;
    const OfferedTest* test = Find(name);
    if (test == nullptr) return;
    std::vector<TestParameter> parameters;
    test->test->DefaultParameters(parameters);
    const Split split = SplitBehind(typed, open + 1, ",");
    const std::size_t equals = split.part.find('=');
    if (equals == std::string::npos) {
      OfferParameterNames(split, typed.substr(open + 1), parameters);
      return;
    }
    const std::string wanted = LowerAscii(split.part.substr(0, equals));
    for (const TestParameter& parameter : parameters) {
      if (LowerAscii(parameter.name) != wanted) continue;
      const std::string assigned = split.before + split.part.substr(0, equals + 1);
      const bool isLast = Missing(typed.substr(open + 1), parameters).empty();
      OfferValues(assigned, split.part.substr(equals + 1), parameter, isLast);
    }
  }

  // The parameters that the text inside the parentheses does not set.
  static std::vector<const TestParameter*> Missing(const std::string& given,
                                                   const std::vector<TestParameter>& parameters) {
    std::vector<const TestParameter*> missing;
    const std::string items = LowerAscii("," + given);
    for (const TestParameter& parameter : parameters) {
      const std::string item = "," + LowerAscii(parameter.name) + "=";
      if (items.find(item) == std::string::npos) missing.push_back(&parameter);
    }
    return missing;
  }

  void OfferParameterNames(const Split& split, const std::string& given,
                           const std::vector<TestParameter>& parameters) {
    std::vector<const TestParameter*> fitting = Missing(given, parameters);
    std::erase_if(fitting, [&split](const TestParameter* one) {
      return !IsPlainName(one->name) || !one->name.starts_with(split.part);
    });
    for (const TestParameter* parameter : fitting) {
      answer_.Offer(split.before + parameter->name + "=", SummaryOf(*parameter));
    }
    // Of the only one the default, too: bash would close a quote behind a word that stands alone.
    if (fitting.size() == 1 && IsPlainName(fitting.front()->initialValue)) {
      const TestParameter& only = *fitting.front();
      answer_.Offer(split.before + only.name + "=" + only.initialValue, "the default");
    }
  }

  static std::string SummaryOf(const TestParameter& parameter) {
    std::string summary = parameter.detail.empty()
                              ? Title(parameter.label)
                              : FormatKey(parameter.detail, false, false, true);
    if (!parameter.extra.empty()) summary += ", " + parameter.extra;
    return summary + ", default " + parameter.initialValue;
  }

  // Behind a value the parentheses end, or another parameter follows.
  void OfferValues(const std::string& before, const std::string& typed,
                   const TestParameter& parameter, bool isLast) {
    std::vector<std::string> values{parameter.initialValue};
    if (parameter.type == kParameterBoolean) values = {"yes", "no"};
    if (!typed.empty() && parameter.type != kParameterBoolean) values = {typed};
    for (const std::string& value : values) {
      if (!IsPlainName(value)) continue;
      answer_.Offer(before + value + ")");
      if (!isLast) answer_.Offer(before + value + ",");
    }
  }

  Answer& answer_;
  const std::vector<OfferedTest> tests_;
};

}  // namespace

void OfferTests(Answer& answer, const std::string& before, DiagModule& module,
                DiagDiagnostic& diagnostic) {
  TestWords(answer, TestsOf(module, diagnostic)).Run(before);
}

}  // namespace tarvex::complete
