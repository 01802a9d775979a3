#include "companions/complete/answer.h"

#include <algorithm>

#include "system/outside_text.h"
#include "system/text_conversion.h"

namespace tarvex::complete {
namespace {

constexpr int kMostSummaryBytes = 120;
constexpr std::string_view kPlainSigns = "_.:+@-";
constexpr std::string_view kGrammarSigns = "=(),/";

bool IsPlain(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || kPlainSigns.find(byte) != std::string_view::npos;
}

bool MayStand(char byte) {
  return IsPlain(byte) || kGrammarSigns.find(byte) != std::string_view::npos;
}

}  // namespace

bool IsPlainName(std::string_view name) {
  return !name.empty() && name.front() != '-' && std::all_of(name.begin(), name.end(), IsPlain);
}

void Answer::Offer(std::string text, std::string_view summary) {
  if (!text.starts_with(typed_) || !std::all_of(text.begin(), text.end(), MayStand)) return;
  const auto same = [&text](const Candidate& known) { return known.text == text; };
  if (std::any_of(candidates_.begin(), candidates_.end(), same)) return;
  candidates_.push_back({std::move(text), CutUtf8(WithoutSteering(summary), kMostSummaryBytes)});
}

}  // namespace tarvex::complete
