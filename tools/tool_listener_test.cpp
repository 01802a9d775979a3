#include "tools/tool_listener.h"

#include <array>
#include <limits>
#include <stdexcept>

#include "tests/fakes/tool_test.h"
#include "tools/decimal.h"

namespace {

class SomeListener final : public ToolListener {
 public:
  using ToolListener::ToolListener;
};

// Keeps the devices of the module, as a tool's own class does.
class SomeDevices : public ToolDevices {
 public:
  explicit SomeDevices(const ToolTarget& target) : ToolDevices(target) { ReadRecords({}); }
};

class NumberEvent : public ToolEvent {
 public:
  explicit NumberEvent(std::int32_t eventNumber) : number(eventNumber) {}
  void apply(ToolEventContext& /*context*/) override {}

  const std::int32_t number;
};

constexpr std::array kRows{
    ToolHandlerRow{"OnPlain",
                   [](const ToolReport&) -> std::unique_ptr<ToolEvent> {
                     return std::make_unique<NumberEvent>(-1);
                   }},
    ToolHandlerRow{"OnNumber",
                   [](const ToolReport& report) -> std::unique_ptr<ToolEvent> {
                     return std::make_unique<NumberEvent>(report.Number("Number", 1));
                   }},
    ToolHandlerRow{"OnDevice",
                   [](const ToolReport& report) -> std::unique_ptr<ToolEvent> {
                     const ToolDeviceRecord* device = report.Device("Device", 0);
                     if (device == nullptr) return nullptr;
                     return std::make_unique<NumberEvent>(static_cast<std::int32_t>(device->index));
                   }},
};

class ToolListenerTest : public ToolTest {
 protected:
  ToolListenerTest() {
    AddDevice("A", "Disk A");
    AddDevice("B", "Disk B");
    devices = std::make_unique<SomeDevices>(Target());
    listener = std::make_unique<SomeListener>(queue, *devices, kRows);
  }
  // The number of the next event; 0 when there is none.
  std::int32_t Next() {
    const auto event = queue.Take();
    return event == nullptr ? 0 : static_cast<NumberEvent&>(*event).number;
  }

  ToolEventQueue queue;
  std::unique_ptr<SomeDevices> devices;
  std::unique_ptr<SomeListener> listener;
};

TEST_F(ToolListenerTest, ConstructionRegistersAllHandlers) {
  EXPECT_TRUE(listener->Dispatch(&tool, "OnPlain"));
  EXPECT_EQ(Next(), -1);
  EXPECT_FALSE(listener->Dispatch(&tool, "OnOther"));
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(ToolListenerTest, RegisteringAgainReplacesHandlers) {
  listener->SetHandler("OnPlain", [](DiagTool*, const std::string&) { return false; });
  EXPECT_FALSE(listener->Dispatch(&tool, "OnPlain"));
  listener->RegisterHandlers();
  EXPECT_TRUE(listener->Dispatch(&tool, "OnPlain"));
}

TEST_F(ToolListenerTest, ClearingAReplyClearsItsThirdWordOnly) {
  orvan_service::ToolReply reply{1, 2, 3};
  listener->ClearReply(&reply);
  EXPECT_EQ(reply.first, 1U);
  EXPECT_EQ(reply.second, 2U);
  EXPECT_EQ(reply.reply, 0U);
}

TEST_F(ToolListenerTest, NumbersAreReadFromTheTool) {
  tool.SetToolProperty("Number", {"x", "42"});
  EXPECT_TRUE(listener->Dispatch(&tool, "OnNumber"));
  EXPECT_EQ(Next(), 42);
}

TEST_F(ToolListenerTest, AToolsOwnIdNamesTheDeviceThatIsShown) {
  // The service gives out ids with U+FFFD, and properties as they are but for the layout.
  AddDevice("a\uFFFDb\uFFFD", "Disk");
  SomeDevices other(Target());
  ToolListener own(queue, other, kRows);
  EXPECT_TRUE(SendTo(own, "OnDevice", "Device",
                     {"a\x1A"
                      "b\u202E"}));
  EXPECT_EQ(Next(), 2);
}

TEST_F(ToolListenerTest, AShortListIsAnErrorOnTheServicesThread) {
  tool.SetToolProperty("Number", {"x"});
  EXPECT_THROW(listener->Dispatch(&tool, "OnNumber"), std::out_of_range);
  EXPECT_THROW(listener->Dispatch(&tool, "OnDevice"), std::out_of_range);
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(ToolListenerTest, DevicesAreFoundByTheirId) {
  tool.SetToolProperty("Device", {"B"});
  EXPECT_TRUE(listener->Dispatch(&tool, "OnDevice"));
  EXPECT_EQ(Next(), 1);
}

TEST_F(ToolListenerTest, ReportsOfUnknownDevicesMakeNoEvent) {
  tool.SetToolProperty("Device", {"Z"});
  EXPECT_TRUE(listener->Dispatch(&tool, "OnDevice"));
  EXPECT_EQ(queue.Count(), 0U);
}

TEST(ParseDecimal, ReadsTheNumberAtTheBeginning) {
  EXPECT_EQ(tarvex::ParseDecimal("100"), 100);
  EXPECT_EQ(tarvex::ParseDecimal(" -7x"), -7);
  EXPECT_EQ(tarvex::ParseDecimal("abc"), 0);
  EXPECT_EQ(tarvex::ParseDecimal(""), 0);
  EXPECT_EQ(tarvex::ParseDecimal("0x10"), 0);
}

TEST(ParseDecimal, HoldsTheNumberWithin32Bits) {
  using Limits = std::numeric_limits<std::int32_t>;
  EXPECT_EQ(tarvex::ParseDecimal("2147483648"), Limits::max());
  EXPECT_EQ(tarvex::ParseDecimal("-99999999999999999999"), Limits::min());
}

}  // namespace
