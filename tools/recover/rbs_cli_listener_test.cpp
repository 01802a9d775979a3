#include "tools/recover/rbs_cli_listener.h"

#include <limits>
#include <stdexcept>

#include "tests/fakes/tool_test.h"
#include "tools/recover/rbs_cli_event.h"
#include "tools/recover/rbs_cli_stdio.h"

namespace {

using Texts = std::vector<std::string>;

// Notes each call of the view as a text.
class RecordingView final : public RbsCliStdio {
 public:
  explicit RecordingView(std::wostream& console) : RbsCliStdio(console, false) {}

  void OnRecoverInit() override { calls.emplace_back("OnRecoverInit"); }
  void OnOperationInit(const std::string& operation) override {
    calls.push_back("OnOperationInit " + operation);
  }
  void OnDeviceInit(const std::string& id, const std::string& name) override {
    calls.push_back("OnDeviceInit " + id + " " + name);
  }
  void OnDeviceFinish(const std::string& id, const std::string& name, std::int32_t status,
                      double elapsedSeconds, const Texts& sectorsInfo,
                      const std::string& badSectors, const std::string& operation) override {
    std::string call = "OnDeviceFinish " + id + " " + name + " " + std::to_string(status) + " " +
                       std::to_string(elapsedSeconds) + " " + operation + " [" + badSectors + "]";
    for (const std::string& count : sectorsInfo) call += " " + count;
    calls.push_back(call);
  }
  void OnOperationFinish(const std::string& text) override {
    calls.push_back("OnOperationFinish [" + text + "]");
  }
  void OnRecoverFinish(const std::string& text) override {
    calls.push_back("OnRecoverFinish [" + text + "]");
  }
  void SetProgress(std::uint32_t percent, double elapsedSeconds) override {
    calls.push_back("SetProgress " + std::to_string(percent) + " " +
                    std::to_string(elapsedSeconds));
  }

  Texts calls;
};

class RbsCliListenerTest : public ToolTest {
 protected:
  RbsCliListenerTest() : utils(Target()), listener(queue, utils) {
    AddDevice("0", "Disk A");
    AddDevice("1", "Disk B");
    utils.filterDevices(false, false);
    context.timer = &host().timer;
    context.view = &view;
    tool.SetToolProperty("Operation", {"repair"});
    tool.SetToolProperty("SectorsInfo", {"800", "6", "4", "2"});
  }

  bool Send(const std::string& event, const std::string& property = "Unused",
            const Texts& values = {}) {
    return SendTo(listener, event, property, values);
  }
  template <class Event>
  std::unique_ptr<Event> Next() {
    return NextOf<Event>(queue);
  }
  std::unique_ptr<EventDeviceFinish> Finished(const Texts& finish = {"1", "9"}) {
    EXPECT_TRUE(Send("OnDeviceFinish", "DeviceFinish", finish));
    return Next<EventDeviceFinish>();
  }
  // Applies all events; what the view was told.
  Texts Applied() {
    while (const auto event = queue.Take()) event->apply(context);
    return view.calls;
  }

  ToolEventQueue queue;
  RbsUtils utils;
  RbsCliListener listener;
  RecordingView view{capture};
  RbsEventContext context;
};

TEST_F(RbsCliListenerTest, EachReportBecomesItsEvent) {
  EXPECT_TRUE(Send("OnRecoverInit"));
  Next<EventRecoverInit>();
  EXPECT_TRUE(Send("OnOperationInit", "OperationInit", {"repair", "x"}));
  EXPECT_EQ(Next<EventOperationInit>()->operation, "repair");
  EXPECT_TRUE(Send("OnDeviceInit", "DeviceInit", {"1", "x"}));
  const auto device = Next<EventDeviceInit>();
  EXPECT_EQ(device->deviceId, "1");
  EXPECT_EQ(device->displayName, "Disk B");
  EXPECT_TRUE(Send("OnProgress", "Progress", {"42"}));
  EXPECT_EQ(Next<EventProgress>()->percent, 42U);
  EXPECT_TRUE(Send("OnOperationFinish"));
  EXPECT_EQ(Next<EventOperationFinish>()->text, "");
  EXPECT_TRUE(Send("OnRecoverFinish"));
  EXPECT_EQ(Next<EventRecoverFinish>()->text, "");
  EXPECT_FALSE(Send("OnOther"));
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(RbsCliListenerTest, AResultIsReadFromFiveProperties) {
  tool.SetToolProperty("BadSectorsList", {"17"});
  tool.SetToolProperty("Message", {"first", "second"});
  const auto event = Finished({"1", "12"});
  EXPECT_EQ(event->deviceId, "1");
  EXPECT_EQ(event->displayName, "Disk B");
  EXPECT_EQ(event->status, 12);
  EXPECT_EQ(event->operation, "repair");
  EXPECT_EQ(event->sectorsInfo, (Texts{"800", "6", "4", "2"}));
  EXPECT_EQ(event->badSectorList, "17");
  EXPECT_EQ(event->message, "first");
  EXPECT_TRUE(event->hasMessage);
}

TEST_F(RbsCliListenerTest, WithoutAMessageThereIsNone) {
  EXPECT_FALSE(Finished()->hasMessage);
  // An empty text is a message all the same.
  tool.SetToolProperty("Message", {""});
  EXPECT_TRUE(Finished()->hasMessage);
}

TEST_F(RbsCliListenerTest, AScanFixesNothingWhateverTheCountsSay) {
  tool.SetToolProperty("Operation", {"scan"});
  const auto event = Finished();
  EXPECT_EQ(event->sectorsInfo, (Texts{"800", "6", "0", "0"}));
  EXPECT_EQ(event->operation, "repair");
}

TEST_F(RbsCliListenerTest, OtherOperationsKeepTheCounts) {
  tool.SetToolProperty("Operation", {"SCAN"});
  EXPECT_EQ(Finished()->sectorsInfo, (Texts{"800", "6", "4", "2"}));
}

TEST_F(RbsCliListenerTest, FiveBadSectorsStandOnALine) {
  const auto lines = [this](const Texts& sectors) {
    tool.SetToolProperty("BadSectorsList", sectors);
    return Finished()->badSectorList;
  };
  EXPECT_EQ(lines({}), "");
  EXPECT_EQ(lines({"1"}), "1");
  EXPECT_EQ(lines({"1", "2", "3", "4", "5"}), "1, 2, 3, 4, 5");
  EXPECT_EQ(lines({"1", "2", "3", "4", "5", "6"}), "1, 2, 3, 4, 5\n6");
  EXPECT_EQ(lines({"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11"}),
            "1, 2, 3, 4, 5\n6, 7, 8, 9, 10\n11");
}

TEST_F(RbsCliListenerTest, TextThatIsNoNumberCountsAsNone) {
  Send("OnProgress", "Progress", {"abc"});
  EXPECT_EQ(Next<EventProgress>()->percent, 0U);
  EXPECT_EQ(Finished({"1", "abc"})->status, 0);
  EXPECT_EQ(Finished({"1", "9x"})->status, 9);
  EXPECT_EQ(Finished({"1", "99999999999999999999"})->status,
            std::numeric_limits<std::int32_t>::max());
}

TEST_F(RbsCliListenerTest, ListsThatAreTooShortAreErrorsAndMakeNoEvent) {
  for (const char* event : {"OnOperationInit", "OnDeviceInit", "OnDeviceFinish", "OnProgress"}) {
    EXPECT_THROW(Send(event), std::out_of_range) << event;
  }
  EXPECT_THROW(Send("OnDeviceFinish", "DeviceFinish", {"1"}), std::out_of_range);
  tool.SetToolProperty("SectorsInfo", {"800", "6", "4"});
  EXPECT_EQ(Finished()->sectorsInfo, (Texts{"800", "6", "4"}));
  tool.SetToolProperty("Operation", {"scan"});
  EXPECT_THROW(Send("OnDeviceFinish", "DeviceFinish", {"1", "9"}), std::out_of_range);
  tool.SetToolProperty("Operation", {});
  EXPECT_THROW(Send("OnDeviceFinish", "DeviceFinish", {"1", "9"}), std::out_of_range);
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(RbsCliListenerTest, ReportsOfUnknownDevicesAreDropped) {
  EXPECT_TRUE(Send("OnDeviceInit", "DeviceInit", {"7"}));
  EXPECT_TRUE(Send("OnDeviceFinish", "DeviceFinish", {"7", "9"}));
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(RbsCliListenerTest, EventsTellTheViewWhatTheyHold) {
  Send("OnRecoverInit");
  Send("OnOperationInit", "OperationInit", {"repair"});
  Send("OnDeviceInit", "DeviceInit", {"0"});
  Applied();
  host().timer.Advance(2999);
  Send("OnProgress", "Progress", {"42"});
  tool.SetToolProperty("BadSectorsList", {"17"});
  Send("OnDeviceFinish", "DeviceFinish", {"0", "12"});
  Send("OnOperationFinish");
  Send("OnRecoverFinish");
  EXPECT_EQ(Applied(), (Texts{"OnRecoverInit", "OnOperationInit repair", "OnDeviceInit 0 Disk A",
                              "SetProgress 42 2.000000",
                              "OnDeviceFinish 0 Disk A 12 2.000000 repair [17] 800 6 4 2",
                              "OnOperationFinish []", "OnRecoverFinish []"}));
}

TEST_F(RbsCliListenerTest, ADevicesTimeBeginsWhenItsEventIsApplied) {
  Send("OnDeviceInit", "DeviceInit", {"0"});
  host().timer.Advance(5000);
  EXPECT_FALSE(context.deviceActive);
  Applied();
  EXPECT_TRUE(context.deviceActive);
  host().timer.Advance(1000);
  EXPECT_EQ(context.DeviceSeconds(), 1.0);
}

TEST_F(RbsCliListenerTest, AMessageReachesTheViewBeforeItsResult) {
  RbsCliStdio console(capture, false);
  context.view = &console;
  context.StartDevice();
  tool.SetToolProperty("Message", {"SEE_|LOG"});
  Send("OnDeviceFinish", "DeviceFinish", {"0", "2"});
  Applied();
  EXPECT_EQ(capture.Take(),
            "   Operation status: Hard disk locked - SEE_|LOG\n   Elapsed time: 0 second\n\n");
}

TEST_F(RbsCliListenerTest, OnlyProgressMayReplaceProgress) {
  for (int i = 0; i < 1000; ++i) Send("OnProgress", "Progress", {std::to_string(i)});
  EXPECT_EQ(queue.Count(), 1U);
  Send("OnDeviceInit", "DeviceInit", {"0"});
  Send("OnProgress", "Progress", {"7"});
  EXPECT_EQ(Applied(), (Texts{"SetProgress 999 " + std::to_string(context.DeviceSeconds()),
                              "OnDeviceInit 0 Disk A", "SetProgress 7 0.000000"}));
}

}  // namespace
