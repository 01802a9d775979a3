#include "service/core/data_collection.h"

#include <cmath>

#include "os/spool_file.h"
#include "service/core/group_result.h"
#include "service/log/json_text.h"
#include "system/outside_text.h"

namespace orvan::core {
namespace {

constexpr int kFormat = 1;

std::string Shown(const std::string& name) {
  return tarvex::WithoutSteering(name);
}

std::string JsonTest(const CollectedTest& test) {
  WorstVerdict verdict;
  verdict.Add(test.status);
  const std::chrono::duration<double, std::milli> took = test.took;
  return log::JsonObject()
      .Text("module", Shown(test.module))
      .Text("diagnostic", Shown(test.diagnostic))
      .Text("test", Shown(test.test))
      .Text("verdict", verdict.Word())
      .Number("durationMs", std::round(took.count()))
      .Take();
}

}  // namespace

void DataCollection::Begin(const std::string& folder) noexcept {
  try {
    if (folder_.empty()) folder_ = folder;
  } catch (...) {
    complete_ = false;
  }
}

void DataCollection::AddTest(const CollectedTest& test) noexcept {
  try {
    if (folder_.empty() || !complete_) return;
    modules_.try_emplace(test.module, test.moduleVersion);
    tests_ += (tests_.empty() ? "" : ",") + JsonTest(test);
    // A line that the spool can't take must not fill the memory either.
    complete_ = tests_.size() <= kLargestSpool;
  } catch (...) {
    complete_ = false;
  }
}

std::string DataCollection::Line() const {
  const auto module = [](const auto& entry) {
    return log::JsonObject().Text("name", Shown(entry.first)).Text("version", entry.second).Take();
  };
  return log::JsonObject()
             .Number("format", kFormat)
             .Text("programVersion", programVersion_)
             .Raw("modules", log::JsonList(modules_, module))
             .Raw("tests", '[' + tests_ + ']')
             .Take() +
         '\n';
}

bool DataCollection::End() noexcept {
  try {
    if (folder_.empty()) return true;
    const bool added =
        complete_ && tarvex::AppendToSpool(folder_, kSpoolName, Line(), kLargestSpool);
    folder_.clear();
    return added;
  } catch (...) {
    return false;
  }
}

}  // namespace orvan::core
