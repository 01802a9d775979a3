#include "service/modules/storage/said.h"

#include <algorithm>

#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

int RankOf(TestStatus status) {
  const tarvex::TestStatusRow* row = tarvex::FindStatus(status);
  return row == nullptr ? 0 : row->rank;
}

}  // namespace

void Said::NotTold(const DriveTrouble& trouble) {
  using Kind = DriveAnswer::Kind;
  if (trouble.kind == Kind::kCanceled) {
    isCanceled_ = true;
    return;
  }
  const TestStatus status = words::NoAnswerVerdict(trouble.kind, trouble.text).status;
  const bool isLeftOut = trouble.kind == Kind::kNotSupported || trouble.kind == Kind::kDone;
  if (isLeftOut) return Note("not all could be looked at: " + trouble.text);
  Add(status, status == kTestWarning ? "the drive cannot tell: " + trouble.text : trouble.text);
}

TestStatus Said::Worst() const {
  // That something could not be tried ranks below a pass for a run, and is none for a test.
  const auto rankOf = [](TestStatus status) { return status == kTestPassed ? 0 : RankOf(status); };
  if (isCanceled_) return kTestCanceled;
  TestStatus worst = kTestPassed;
  for (const Part& part : parts_) {
    if (rankOf(part.status) > rankOf(worst)) worst = part.status;
  }
  return worst;
}

bool Said::IsAnyBad() const {
  return Worst() != kTestPassed;
}

sdk::Verdict Said::Verdict(const std::string& expected) const {
  std::vector<Part> parts = parts_;
  std::stable_partition(parts.begin(), parts.end(),
                        [](const Part& part) { return part.status != kTestPassed; });
  sdk::Verdict verdict;
  verdict.status = Worst();
  for (std::size_t i = 0; i < parts.size(); ++i) {
    verdict.found += (i == 0 ? "" : ". ") + parts[i].text;
    if (i >= kMostInMessage) continue;
    verdict.message += (i == 0 ? "" : "._") + words::SentenceKey(parts[i].text);
  }
  if (parts.size() > kMostInMessage) {
    verdict.message +=
        words::TextKey(". And " + std::to_string(parts.size() - kMostInMessage) + " more");
  }
  if (verdict.status != kTestPassed) verdict.expected = expected;
  return verdict;
}

}  // namespace orvan::storage
