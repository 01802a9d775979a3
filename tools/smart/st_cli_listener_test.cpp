#include "tools/smart/st_cli_listener.h"

#include <limits>
#include <stdexcept>

#include "tests/fakes/tool_test.h"
#include "tools/smart/st_cli_event.h"
#include "tools/smart/st_cli_stdio.h"

namespace {

using Texts = std::vector<std::string>;

const std::string kNotPossible =
    "It is not possible to retrieve smart attributes for this device\n\n";

class STCliListenerTest : public ToolTest {
 protected:
  STCliListenerTest() : utils(Target()), listener(queue, utils) {
    AddDevice("0", "Disk A");
    AddDevice("1", "Disk B");
    utils.filterDevices(false);
    context.timer = &host().timer;
    context.view = &view;
  }

  bool Send(const std::string& event, const std::string& property = "Unused",
            const Texts& values = {}) {
    return SendTo(listener, event, property, values);
  }
  template <class Event>
  std::unique_ptr<Event> Next() {
    return NextOf<Event>(queue);
  }
  std::unique_ptr<STEventDeviceFinish> Finished(const Texts& finish) {
    EXPECT_TRUE(Send("OnDeviceFinish", "DeviceFinish", finish));
    return Next<STEventDeviceFinish>();
  }
  // Applies all events; what was printed.
  std::string Applied() {
    while (const auto event = queue.Take()) event->apply(context);
    return capture.Take();
  }

  ToolEventQueue queue;
  STUtils utils;
  STCliListener listener;
  STCliStdio view{capture, false, [] { return false; }};
  STEventContext context;
};

TEST_F(STCliListenerTest, EachReportBecomesItsEvent) {
  EXPECT_TRUE(Send("OnSmartToolInit"));
  Next<STEventSmartToolInit>();
  EXPECT_TRUE(Send("OnDeviceInit", "DeviceInit", {"1", "x"}));
  const auto device = Next<STEventDeviceInit>();
  EXPECT_EQ(device->deviceId, "1");
  EXPECT_EQ(device->displayName, "Disk B");
  EXPECT_TRUE(Send("OnProgress", "Progress", {"42"}));
  EXPECT_EQ(Next<STEventProgress>()->percent, 42U);
  EXPECT_TRUE(Send("OnSmartToolFinish"));
  EXPECT_EQ(Next<STEventSmartToolFinish>()->text, "");
  for (const char* other : {"OnRecoverInit", "OnOperationInit", "OnOperationFinish", "OnOther"}) {
    EXPECT_FALSE(Send(other)) << other;
  }
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(STCliListenerTest, AResultIsReadFromFiveElements) {
  const auto event = Finished({"1", "3", "ata", "{attributes}", "{drive}", "more"});
  EXPECT_EQ(event->deviceId, "1");
  EXPECT_EQ(event->displayName, "Disk B");
  EXPECT_EQ(event->status, 3);
  EXPECT_EQ(event->deviceType, "ata");
  EXPECT_EQ(event->attributes, "{attributes}");
  EXPECT_EQ(event->driveInformation, "{drive}");
}

TEST_F(STCliListenerTest, ListsThatAreTooShortAreErrorsAndMakeNoEvent) {
  Texts finish;
  for (const char* element : {"0", "0", "ata", "{}", "{}"}) {
    EXPECT_THROW(Send("OnDeviceFinish", "DeviceFinish", finish), std::out_of_range)
        << finish.size();
    finish.emplace_back(element);
  }
  Finished(finish);
  EXPECT_THROW(Send("OnDeviceInit"), std::out_of_range);
  EXPECT_THROW(Send("OnProgress"), std::out_of_range);
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(STCliListenerTest, ReportsOfUnknownDevicesAreDropped) {
  EXPECT_TRUE(Send("OnDeviceInit", "DeviceInit", {"7"}));
  EXPECT_TRUE(Send("OnDeviceFinish", "DeviceFinish", {"7", "0", "ata", "{}", ""}));
  EXPECT_EQ(queue.Count(), 0U);
  EXPECT_THROW(Send("OnDeviceFinish", "DeviceFinish", {"7", "0", "ata", "{}"}), std::out_of_range);
}

TEST_F(STCliListenerTest, TextThatIsNoNumberCountsAsNone) {
  Send("OnProgress", "Progress", {"abc"});
  EXPECT_EQ(Next<STEventProgress>()->percent, 0U);
  EXPECT_EQ(Finished({"1", "", "", "", ""})->status, 0);
  EXPECT_EQ(Finished({"1", "x3", "", "", ""})->status, 0);
  EXPECT_EQ(Finished({"1", " 3x", "", "", ""})->status, 3);
  EXPECT_EQ(Finished({"1", "-99999999999999999999", "", "", ""})->status,
            std::numeric_limits<std::int32_t>::min());
}

TEST_F(STCliListenerTest, EventsTellTheViewWhatTheyHold) {
  Send("OnSmartToolInit");
  EXPECT_EQ(Applied(), "");
  Send("OnDeviceInit", "DeviceInit", {"0"});
  EXPECT_EQ(Applied(), "=> Disk A \n");
  Send("OnDeviceFinish", "DeviceFinish", {"0", "0", "nvme", R"({"i":"1","d":"Two","v":"3"})", ""});
  EXPECT_EQ(Applied(), "Id   Description" + std::string(29, ' ') + "Data" + std::string(36, ' ') +
                           "\n1    Two" + std::string(37, ' ') + "3" + std::string(39, ' ') +
                           "\n\n");
  Send("OnDeviceFinish", "DeviceFinish", {"0", "0", "tape", "{}", ""});
  EXPECT_EQ(Applied(), kNotPossible);
  Send("OnSmartToolFinish");
  EXPECT_EQ(Applied(), "");
}

TEST_F(STCliListenerTest, ProgressIsKeptAndNoDeviceBecomesActive) {
  Send("OnDeviceInit", "DeviceInit", {"0"});
  Send("OnProgress", "Progress", {"42"});
  EXPECT_EQ(Applied(), "=> Disk A \n");
  EXPECT_EQ(view.percent(), 42U);
  EXPECT_FALSE(context.deviceActive);
}

TEST_F(STCliListenerTest, OnlyProgressMayReplaceProgress) {
  for (int i = 0; i < 1000; ++i) Send("OnProgress", "Progress", {std::to_string(i)});
  EXPECT_EQ(queue.Count(), 1U);
  Send("OnDeviceInit", "DeviceInit", {"0"});
  Send("OnSmartToolInit");
  EXPECT_EQ(queue.Count(), 3U);
  EXPECT_EQ(Next<STEventProgress>()->percent, 999U);
}

}  // namespace
