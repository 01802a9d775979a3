#include "service/log/log_crash.h"

#include <gtest/gtest.h>

#include "service/log/log_artifacts.h"

namespace orvan::log {
namespace {

using Names = std::vector<std::string>;

std::string Start(std::uint64_t step, const std::string& name) {
  return StepLine({}, step, StepStartArtifact(name));
}
std::string End(std::uint64_t step) {
  return StepLine({}, step, StepEndArtifact(LogStatus::kComplete));
}
std::string Said(std::uint64_t step, const std::string& text) {
  return StepLine({}, step, TextArtifact(LogSeverity::kInfo, text));
}
const std::string kRunEnd = RunLine({}, RunEndArtifact(LogStatus::kComplete, LogResult::kPass));

TEST(HasRunEnd, LooksAtTheLastWholeLine) {
  EXPECT_TRUE(HasRunEnd(kRunEnd));
  EXPECT_TRUE(HasRunEnd(Start(0, "a") + kRunEnd));
  EXPECT_FALSE(HasRunEnd(""));
  EXPECT_FALSE(HasRunEnd(kRunEnd.substr(0, kRunEnd.size() - 1)));
  EXPECT_FALSE(HasRunEnd(kRunEnd + Start(0, "a")));
  EXPECT_FALSE(HasRunEnd(Said(0, kRunEnd)));
}

TEST(OpenSteps, AreThoseThatBeganAndDidNotEnd) {
  EXPECT_EQ(OpenSteps(""), Names{});
  EXPECT_EQ(OpenSteps(Start(0, "a") + End(0)), Names{});
  EXPECT_EQ(OpenSteps(Start(0, "a") + End(0) + Start(1, "b\\\"c\"") + Said(1, "x")),
            Names{"b\\\"c\""});
  EXPECT_EQ(OpenSteps(Start(0, "a") + Start(1, "b")), (Names{"a", "b"}));
}

TEST(OpenSteps, AStepThatBeganBeforeTheTailIsNamedByItsNumber) {
  EXPECT_EQ(OpenSteps("xt\":\"cut line\"}}}\n" + Said(41, "x")), Names{"step 41"});
  EXPECT_EQ(OpenSteps(Said(41, "x") + End(41)), Names{});
}

TEST(OpenSteps, WhatIsNoLineIsPassedOver) {
  const std::string start = Start(0, "a");
  EXPECT_EQ(OpenSteps(start.substr(0, start.size() - 5)), Names{});
  EXPECT_EQ(OpenSteps(start + std::string(4096, '\0')), Names{"a"});
  EXPECT_EQ(OpenSteps("{\"testStepArtifact\":\n" + start), Names{"a"});
  EXPECT_EQ(OpenSteps("{\"testStepArtifact\":7}\n[\"testStepArtifact\"]\n"
                      "{\"testStepArtifact\":{\"testStepId\":9,\"testStepStart\":{}}}\n"),
            Names{""});
}

}  // namespace
}  // namespace orvan::log
