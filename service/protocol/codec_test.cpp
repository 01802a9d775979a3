#include "service/protocol/codec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "service/protocol/from_worker.h"
#include "service/protocol/scan_budget.h"
#include "service/protocol/to_worker.h"

namespace orvan::protocol {
namespace {

template <typename Any, typename Message>
std::vector<std::byte> BytesOf(const Message& message) {
  const auto bytes = Encode<Any>(message);
  EXPECT_TRUE(bytes.has_value());
  return bytes ? std::vector<std::byte>(bytes->Bytes().begin(), bytes->Bytes().end())
               : std::vector<std::byte>();
}

// What comes out on the other side.
template <typename Any, typename Message>
Message Passed(const Message& message) {
  const std::optional<Any> decoded = Decode<Any>(BytesOf<Any>(message));
  EXPECT_TRUE(decoded.has_value() && std::holds_alternative<Message>(*decoded));
  return decoded ? std::get<Message>(*decoded) : Message{};
}

DeviceRecord WholeRecord() {
  DeviceRecord record;
  record.id = "7";
  record.uniqueId = {"naa.5000", std::nullopt};
  record.whyUntestable = "|BROKEN";
  record.information.value.name = "Disk";
  record.information.value.entries = {{"1 GB", "SIZE"}, {"x", "y"}};
  record.information.value.properties = {{"NonRotatingMedia", "T"}};
  record.resultText.thrown = "no text";
  record.resultText.value = "";
  TestOnDevice test;
  test.applies = {false, "no"};
  sdk::ParameterSpec parameter;
  parameter.name = "blocks";
  parameter.least = 1;
  parameter.greatest = UINT64_MAX;
  parameter.value = "5";
  test.parameters = Answer<std::vector<sdk::ParameterSpec>>{{parameter}, std::nullopt};
  record.tests = {test, {}};
  record.tools = {{}};
  return record;
}

TEST(Codec, AHelloPassesWhole) {
  Hello hello;
  hello.program = 42;
  hello.name = "a.so";
  hello.capabilities = "cap_sys_rawio";
  hello.memoryBytes = 1ULL << 40;
  hello.machine = MachineKind::kReplay;
  hello.hasState = true;
  hello.key = std::string("\0k", 2);
  hello.settings = {{"a/b", "1"}, {"a/c", ""}};
  const Hello passed = Passed<ToWorker>(hello);
  EXPECT_EQ(passed.version, kVersion);
  EXPECT_EQ(passed.program, 42);
  EXPECT_EQ(passed.name, "a.so");
  EXPECT_EQ(passed.capabilities, "cap_sys_rawio");
  EXPECT_EQ(passed.memoryBytes, 1ULL << 40);
  EXPECT_EQ(passed.machine, MachineKind::kReplay);
  EXPECT_TRUE(passed.hasState);
  EXPECT_EQ(passed.key, hello.key);
  EXPECT_EQ(passed.settings, hello.settings);
}

TEST(Codec, ADeviceRecordPassesWhole) {
  const Found passed = Passed<FromWorker>(Found{9, WholeRecord()});
  EXPECT_EQ(passed.request, 9U);
  const DeviceRecord& record = passed.device;
  EXPECT_EQ(record.id, "7");
  EXPECT_EQ(record.uniqueId.value, "naa.5000");
  EXPECT_EQ(record.whyUntestable, "|BROKEN");
  EXPECT_EQ(record.information.value.entries, WholeRecord().information.value.entries);
  EXPECT_EQ(record.information.value.properties, WholeRecord().information.value.properties);
  EXPECT_EQ(record.resultText.thrown, "no text");
  EXPECT_EQ(record.resultText.value, "");
  ASSERT_EQ(record.tests.size(), 2U);
  EXPECT_FALSE(record.tests[0].applies.value);
  EXPECT_EQ(record.tests[0].applies.thrown, "no");
  ASSERT_TRUE(record.tests[0].parameters.has_value());
  ASSERT_EQ(record.tests[0].parameters->value.size(), 1U);
  EXPECT_EQ(record.tests[0].parameters->value[0].greatest, UINT64_MAX);
  EXPECT_EQ(record.tests[0].parameters->value[0].value, "5");
  EXPECT_FALSE(record.tests[1].parameters.has_value());
  EXPECT_TRUE(record.tests[1].applies.value);
  EXPECT_EQ(record.tools.size(), 1U);
}

TEST(Codec, ResourcesPassWhole) {
  Resources said;
  said.request = 5;
  said.resources.value = {{"PARTITION", {{"INDEX", "1"}, {"SIZE", "512"}}}, {"OTHER", {}}};
  const Resources passed = Passed<FromWorker>(said);
  EXPECT_EQ(passed.request, 5U);
  ASSERT_EQ(passed.resources.value.size(), 2U);
  EXPECT_EQ(passed.resources.value[0].type, "PARTITION");
  EXPECT_EQ(passed.resources.value[0].pairs, said.resources.value[0].pairs);
  EXPECT_EQ(passed.resources.value[1].type, "OTHER");
  EXPECT_FALSE(passed.resources.thrown.has_value());
  said.resources = {{}, "no resources"};
  EXPECT_EQ(Passed<FromWorker>(said).resources.thrown, "no resources");
}

TEST(Codec, AMeasurementPassesWholeWhateverItsValue) {
  Measured said;
  said.request = 3;
  said.measurement = {"rate", -0.5, "B/s", {{sdk::Limit::Kind::kGreaterThanOrEqual, 1e300}}};
  const Measured passed = Passed<FromWorker>(said);
  EXPECT_EQ(passed.measurement.name, "rate");
  EXPECT_EQ(passed.measurement.value, -0.5);
  ASSERT_EQ(passed.measurement.limits.size(), 1U);
  EXPECT_EQ(passed.measurement.limits[0].kind, sdk::Limit::Kind::kGreaterThanOrEqual);
  EXPECT_EQ(passed.measurement.limits[0].value, 1e300);
}

TEST(Codec, ASeriesPassesWhole) {
  MeasuredSeries said;
  said.request = 4;
  said.series = {
      "rate", sdk::MeasurementSeries::Kind::kRanges, "B/s", "lba", "s", {{1, -0.5}, {2, 1e300}}};
  const MeasuredSeries passed = Passed<FromWorker>(said);
  EXPECT_EQ(passed.request, 4U);
  EXPECT_EQ(passed.series.name, "rate");
  EXPECT_EQ(passed.series.kind, sdk::MeasurementSeries::Kind::kRanges);
  EXPECT_EQ(passed.series.unit, "B/s");
  EXPECT_EQ(passed.series.axis, "lba");
  EXPECT_EQ(passed.series.axisUnit, "s");
  ASSERT_EQ(passed.series.points.size(), 2U);
  EXPECT_EQ(passed.series.points[1].position, 2);
  EXPECT_EQ(passed.series.points[1].value, 1e300);
}

// A message that lacks its last byte, or has one more, is none: each field is there and no other.
template <typename Any, typename Message>
void ExpectExact(const Message& message) {
  std::vector<std::byte> bytes = BytesOf<Any>(message);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(Decode<Any>(std::span(bytes).first(size)).has_value()) << size;
  }
  bytes.push_back(std::byte{0});
  EXPECT_FALSE(Decode<Any>(bytes).has_value());
}

TEST(Codec, WhatIsCutOrHasMoreIsNoMessage) {
  ExpectExact<ToWorker>(Hello{});
  ExpectExact<ToWorker>(RunTest{1, {1, 2, 3}, DeviceName{"u", "i"}, {{"a", "b"}}, 4});
  ExpectExact<ToWorker>(RunTool{1, 2, "n", true, true, {{"u", "i"}}, {{"u", "i"}}, 4});
  ExpectExact<ToWorker>(ToolAnswer{1, true, {"a"}});
  ExpectExact<ToWorker>(Ping{});
  ExpectExact<ToWorker>(TellResources{1, {{"u", "i"}}});
  ExpectExact<FromWorker>(Found{9, WholeRecord()});
  ExpectExact<FromWorker>(Scanned{9, 2});
  ExpectExact<FromWorker>(Resources{9, {{{"PARTITION", {{"a", "b"}}}}, "t"}});
  ExpectExact<FromWorker>(ResourcesTold{9, 2});
  ExpectExact<FromWorker>(TestEnded{1, sdk::Verdict::Failed("m", "e", "f", "w"), 1});
  ExpectExact<FromWorker>(Crashed{11, 5, 1, {}});
}

TEST(Codec, AKindThatIsNoneIsNoMessage) {
  std::vector<std::byte> bytes(4);
  const std::uint32_t kind = std::variant_size_v<ToWorker>;
  std::memcpy(bytes.data(), &kind, sizeof(kind));
  EXPECT_FALSE(Decode<ToWorker>(bytes).has_value());
}

TEST(Codec, AChoiceBeyondItsLastIsNoMessage) {
  std::vector<std::byte> bytes = BytesOf<ToWorker>(Stop{1, sdk::StopReason::kTermination});
  ASSERT_TRUE(Decode<ToWorker>(bytes).has_value());
  bytes[12] = std::byte{4};  // kind, request, then the reason
  EXPECT_FALSE(Decode<ToWorker>(bytes).has_value());
}

TEST(Codec, AFlagIsOneOrNone) {
  std::vector<std::byte> bytes = BytesOf<ToWorker>(ToolAnswer{1, true, {}});
  bytes[12] = std::byte{2};
  EXPECT_FALSE(Decode<ToWorker>(bytes).has_value());
}

TEST(Codec, ACountThatCannotComeIsNoMessage) {
  std::vector<std::byte> bytes = BytesOf<ToWorker>(ToolAnswer{1, true, {}});
  const std::uint32_t count = kMostElements;
  std::memcpy(bytes.data() + 13, &count, sizeof(count));
  EXPECT_FALSE(Decode<ToWorker>(bytes).has_value());
}

TEST(Codec, AMapIsInOrderAndHasEachKeyOnce) {
  RunTest order;
  order.parameters = {{"a", ""}, {"b", ""}};
  std::vector<std::byte> bytes = BytesOf<ToWorker>(order);
  const auto second = std::find(bytes.begin(), bytes.end(), std::byte{'b'});
  ASSERT_NE(second, bytes.end());
  *second = std::byte{'a'};
  EXPECT_FALSE(Decode<ToWorker>(bytes).has_value());
}

TEST(Codec, ATextIsCutWhereItGetsTooLongAndNeverWithinALetter) {
  Progress said;
  said.message = std::string(kLongestText - 1, 'x') + "\xC3\xA4";
  EXPECT_EQ(Passed<FromWorker>(said).message, std::string(kLongestText - 6, 'x') + " [cut]");
  said.message = std::string(kLongestText, 'x');
  EXPECT_EQ(Passed<FromWorker>(said).message, said.message);
}

TEST(Codec, AValueThatIsTooLongIsNotSent) {
  RunTest order;
  order.parameters = {{"a", std::string(kLongestText, 'x')}};
  EXPECT_TRUE(Encode<ToWorker>(order).has_value());
  order.parameters = {{"a", std::string(kLongestText + 1, 'x')}};
  EXPECT_FALSE(Encode<ToWorker>(order).has_value());
  EXPECT_FALSE(
      Encode<ToWorker>(ToolAnswer{1, true, {std::string(kLongestText + 1, 'x')}}).has_value());
}

// Of the two lists of the message the first one is as long as a list may be.
Found WithParameters(std::size_t count) {
  TestOnDevice test;
  test.parameters = Answer<std::vector<sdk::ParameterSpec>>{};
  Found found{9, {}};
  found.device.tests = {test, test};
  found.device.tests[0].parameters->value.resize(kMostElements);
  found.device.tests[1].parameters->value.resize(count);
  return found;
}

TEST(Codec, ListsThatWouldTakeMoreMemoryThanAMessageMayAreNone) {
  constexpr std::size_t kLeft =
      kMostElementBytes - 2 * sizeof(TestOnDevice) - kMostElements * sizeof(sdk::ParameterSpec);
  constexpr std::size_t kMost = kLeft / sizeof(sdk::ParameterSpec);
  EXPECT_FALSE(Encode<FromWorker>(WithParameters(kMost + 1)).has_value());
  std::vector<std::byte> bytes = BytesOf<FromWorker>(WithParameters(kMost));
  EXPECT_TRUE(Decode<FromWorker>(bytes).has_value());
  // One more of the same, and the count says so.
  constexpr std::size_t kParameter = 6 * 4 + sizeof(sdk::ParameterSpec::type) + 2 * 8 + 1;
  constexpr std::size_t kTail = 4;
  const auto shown = static_cast<std::uint32_t>(kMost + 1);
  std::memcpy(bytes.data() + bytes.size() - kTail - kMost * kParameter - sizeof(shown), &shown,
              sizeof(shown));
  bytes.insert(bytes.end() - kTail, kParameter, std::byte{0});
  EXPECT_FALSE(Decode<FromWorker>(bytes).has_value());
}

TEST(Codec, TheDevicesOfASearchHaveABound) {
  DeviceRecord record;
  record.information.value.name = std::string(kLongestText, 'x');
  record.information.value.entries.resize(kMostElements / 2);
  // Its texts are counted, and its lists, and both by what they take in memory.
  const std::size_t least = kLongestText + kMostElements / 2 * (64 + 8);
  ScanBudget budget;
  std::size_t taken = 0;
  while (budget.Take(record)) ++taken;
  EXPECT_EQ(taken, kMostScanBytes / (least + 1024));
  EXPECT_TRUE(budget.Take(DeviceRecord{}));
  record.id = std::string(kLongestText + 1, 'x');
  EXPECT_FALSE(ScanBudget().Take(record));
}

TEST(Codec, AListThatIsTooLongIsNotSent) {
  ToolSet said;
  said.values.resize(kMostElements);
  EXPECT_TRUE(Encode<FromWorker>(said).has_value());
  said.values.emplace_back();
  EXPECT_FALSE(Encode<FromWorker>(said).has_value());
}

TEST(Codec, ACrashFitsItsFixedRoom) {
  Crashed crashed{11, 5, kMostFrames, {}};
  FixedBytes<sizeof(Crashed) + 64> bytes;
  ASSERT_TRUE((EncodeInto<FromWorker>(bytes, crashed)));
  EXPECT_TRUE(Decode<FromWorker>(bytes.Bytes()).has_value());
  FixedBytes<16> small;
  EXPECT_FALSE((EncodeInto<FromWorker>(small, crashed)));
}

}  // namespace
}  // namespace orvan::protocol
