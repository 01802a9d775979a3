#include "tests/selftest_module/selftest_module.h"

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include "service/sdk/descriptor.h"
#include "service/sdk/rows.h"
#include "tests/selftest_module/contexts.h"
#include "tests/selftest_module/deeds.h"

namespace selftest {
namespace {

using namespace orvan::sdk;

constexpr std::uint32_t kNeitherKind = 3;
constexpr std::uint64_t kFirstDeed = 100;
constexpr std::uint64_t kFirstOfNoLength = 1000;

class Part final : public Device {
 public:
  using OnAsked = std::function<std::string(const std::stop_token&)>;
  // The last is called when somebody asks for its resources, and tells one.
  Part(std::string id, std::string uniqueId, std::string name, OnAsked onAsked)
      : id_(std::move(id)),
        uniqueId_(std::move(uniqueId)),
        name_(std::move(name)),
        onAsked_(std::move(onAsked)) {}
  std::string Id() const override { return id_; }
  DeviceInformation Information() const override {
    DeviceInformation information;
    information.name = "Part " + name_;
    information.properties["NonRotatingMedia"] = "T";
    return information;
  }
  std::vector<DiagResource> Resources(std::stop_token stop) const override {
    return {{"PIECE", {{"PIECE_OF", onAsked_(stop)}}}};
  }
  std::string UniqueId() const override {
    if (uniqueId_ == "throw") throw std::runtime_error("no unique id");
    return uniqueId_;
  }

 private:
  std::string id_;
  std::string uniqueId_;
  std::string name_;
  OnAsked onAsked_;
};

bool IsThere(const std::string& path) {
  return !path.empty() && access(path.c_str(), F_OK) == 0;
}

void NoteProbe(Machine& machine, const std::string& path, const std::stop_token& stop) {
  constexpr std::chrono::seconds kLimit{5};
  const auto probe = machine.MakeProbe(kLimit);
  const auto facts = probe->Probe({}, "/", kLimit, stop);
  std::ofstream(path, std::ios::app).put(facts && facts->use ? 'y' : 'n');
}

std::vector<TestRecord> DeedTests(const std::string& file) {
  std::vector<TestRecord> tests;
  std::uint64_t identifier = kFirstDeed;
  for (const Deed& deed : Deeds()) {
    const auto run = [commit = deed.commit, file](TestContext& context) {
      context.Report(1);
      commit(file);
      return Verdict::Passed();
    };
    tests.push_back(MakeTest({deed.name, deed.name, deed.name, TestKey(identifier++, 1), deed.name},
                             {{}, run}));
  }
  return tests;
}

std::vector<TestRecord> TestsOfNoLength(std::uint64_t count) {
  std::vector<TestRecord> tests;
  for (std::uint64_t number = 0; number < count; ++number) {
    TestRecord test;
    test.name = "NOTHING_" + std::to_string(number);
    test.option = "n" + std::to_string(number);
    test.longName = "nothing-" + std::to_string(number);
    test.key = TestKey(kFirstOfNoLength + number, 1);
    test.run = [](TestContext&) { return Verdict::Passed(); };
    tests.push_back(std::move(test));
  }
  return tests;
}

}  // namespace

SelftestModule::SelftestModule(const ModuleEnvironment& environment)
    : machine_(environment.machine), settings_(environment.settings) {
  const std::uint64_t count = NumberIn(Setting("tests")).value_or(1);
  diagnostics_ = {
      MakeDiagnostic({"DEEDS", "I", "ill-deeds", DiagnosticKey(1, kNeitherKind), "misbehaves"},
                     DeedTests(Setting("file"))),
      MakeDiagnostic({"GOOD_DEEDS", "B", "good-deeds", DiagnosticKey(2, kNeitherKind), "behaves"},
                     WellBehavedTests(machine_, Setting("file"))),
      MakeDiagnostic({"NOTHING", "N", "nothing", DiagnosticKey(3, kNeitherKind), "does nothing"},
                     TestsOfNoLength(count)),
  };
  ToolRecord tool;
  tool.name = Setting("tool-name").empty() ? "recover_bad_sectors" : Setting("tool-name");
  tool.mayWrite = !Setting("tool-writes").empty();
  tool.description = "|MISBEHAVES";
  tool.hint = "recover";
  tool.run = [word = Setting("tool"), file = Setting("file")](ToolContext& context) {
    if (!RunTool(word, context)) Commit(word, file);
  };
  tools_ = {std::move(tool)};
}

std::string SelftestModule::Setting(const std::string& name) const {
  const auto found = settings_.find("selftest/" + name);
  return found != settings_.end() ? found->second : std::string();
}

std::unique_ptr<Device> SelftestModule::MakePart(std::uint64_t number, std::uint64_t place) const {
  const std::string alike = Setting("unique-ids");
  // An id is given anew at each scan, a unique id stays.
  const std::string own = "part-" + std::to_string(number);
  return std::make_unique<Part>(
      Setting("ids") == "same" ? "0" : std::to_string(place),
      alike == "none" ? std::string()
      : alike.empty() ? own
                      : alike,
      own, [this, number, own](const std::stop_token& stop) {
        MisbehaveWhenAsked(number, stop);
        std::string piece = own;
        piece.resize(NumberIn(Setting("piece-bytes")).value_or(own.size()));
        return piece;
      });
}

void SelftestModule::MisbehaveWhenAsked(std::uint64_t number, const std::stop_token& stop) const {
  if (const std::string asked = Setting("asked"); !asked.empty()) {
    std::ofstream(asked, std::ios::app) << number;
  }
  if (!Setting("probed").empty()) NoteProbe(*machine_, Setting("probed"), stop);
  const std::string deed = Setting("resources");
  if (deed.empty() || number != 1) return;
  if (deed == "slow") {
    WaitForStop(stop);
  } else if (deed == "leave-call") {
    LeaveCallBehind(*machine_, Setting("file"));
  } else {
    Commit(deed, Setting("file"));
  }
}

void SelftestModule::MisbehaveAt(std::uint64_t place, const std::stop_token& stop) const {
  if (place != NumberIn(Setting("scan-at")).value_or(0)) return;
  const std::string scan = Setting("scan");
  if (const std::string begun = Setting("begun"); !begun.empty()) std::ofstream(begun).put('x');
  if (scan == "slow" || IsThere(Setting("waiting"))) {
    WaitForStop(stop);
  } else if (scan == "leave-call") {
    LeaveCallBehind(*machine_, Setting("file"));
  } else {
    Commit(scan, Setting("file"));
  }
  if (IsThere(Setting("throwing"))) Commit("throw", {});
}

void SelftestModule::ScanDevices(ScanContext& scan) {
  const std::uint64_t count = NumberIn(Setting("devices")).value_or(2);
  const std::uint64_t first = IsThere(Setting("marker")) ? 1 : 0;
  std::uint64_t place = 0;
  if (!Setting("probed").empty()) NoteProbe(*machine_, Setting("probed"), scan.StopToken());
  MisbehaveAt(place, scan.StopToken());
  for (std::uint64_t number = first; number < count; ++number) {
    scan.Found(MakePart(number, place));
    MisbehaveAt(++place, scan.StopToken());
  }
}

}  // namespace selftest

ORVAN_MODULE(selftest::SelftestModule, "selftest", "cap_dac_read_search", 16 << 20)
