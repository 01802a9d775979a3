#include <array>

#include "companions/history/list_report.h"
#include "companions/history/run_json.h"
#include "companions/history/table_text.h"
#include "companions/history/worse.h"
#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

using orvan::log::JsonList;
using orvan::log::JsonObject;

constexpr std::array<const char*, 3> kWhat{"verdict", "value", "sectors"};

const char* WordOf(Worsening::What what) {
  return kWhat.at(static_cast<std::size_t>(what));
}

std::string WorseningJson(const Worsening& one) {
  return JsonObject()
      .Text("what", WordOf(one.what))
      .Raw("key", TextOrNull(one.device.key))
      .Raw("device", TextOrNull(one.device.name))
      .Raw("serial", TextOrNull(one.device.serial))
      .Raw("place", TextOrNull(one.device.place))
      .Raw("test", TextOrNull(one.test))
      .Raw("name", TextOrNull(one.name))
      .Raw("before", TextOrNull(one.before))
      .Raw("after", TextOrNull(one.after))
      .Raw("valueBefore", NumberOrNull(one.valueBefore))
      .Raw("valueAfter", NumberOrNull(one.valueAfter))
      .Raw("unit", TextOrNull(one.unit))
      .Raw("runBefore", TextOrNull(one.runBefore))
      .Take();
}

std::string WorseCsv(const std::vector<Worsening>& found) {
  std::string text = CsvHead({"key", "device", "serial", "test", "what", "name", "before", "after",
                              "value_before", "value_after", "unit", "run_before"});
  for (const Worsening& one : found) {
    CsvLine line;
    line.Text(one.device.key).Text(one.device.name).Text(one.device.serial).Text(one.test);
    line.Text(WordOf(one.what)).Text(one.name).Text(one.before).Text(one.after);
    line.Number(one.valueBefore).Number(one.valueAfter).Text(one.unit).Text(one.runBefore);
    text += line.Take();
  }
  return text;
}

std::string WorseText(const RunSummary& run, const std::vector<Worsening>& found) {
  if (found.empty()) return "Nothing is worse in " + run.id + " than it was before.\n";
  std::vector<std::vector<std::string>> rows{
      {"DEVICE", "SERIAL NUMBER", "TEST", "WHAT", "BEFORE", "NOW", "BEFORE IN RUN"}};
  for (const Worsening& one : found) {
    rows.push_back({one.device.name, one.device.serial.empty() ? "-" : one.device.serial,
                    NameOfKey(one.test), one.name.empty() ? WordOf(one.what) : one.name,
                    one.before.empty() ? "-" : one.before, one.after, one.runBefore});
  }
  return TableText(rows);
}

}  // namespace

std::string WorseReport(const RunSummary& run, const std::vector<Worsening>& found, Format format) {
  if (format == Format::kText) return WorseText(run, found);
  if (format == Format::kCsv) return WorseCsv(found);
  return JsonObject()
             .Raw("schema", "1")
             .Text("run", run.id)
             .Raw("start", TextOrNull(run.start))
             .Text("verdict", tarvex::history::WordOf(run.verdict))
             .Raw("worse", JsonList(found, WorseningJson))
             .Take() +
         '\n';
}

}  // namespace tarvex::history
