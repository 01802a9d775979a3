#include <stdexcept>

#include "tests/fakes/front_end_test.h"

// A run that an exception leaves: the service plays on, so it is told to stop, and its listeners
// outlive what it still tells.

namespace {

// Throws from one operation, the first time that it is called.
class BreakingView : public OrvanStdio {
 public:
  BreakingView(std::wostream& console, std::string operation)
      : OrvanStdio(console), operation_(std::move(operation)) {}

  ViewResult BeginSuite(std::string suiteName, std::string moduleName) override {
    BreakAt("BeginSuite");
    return OrvanStdio::BeginSuite(std::move(suiteName), std::move(moduleName));
  }
  ViewResult BeginDiagnostic(std::string name) override {
    BreakAt("BeginDiagnostic");
    return OrvanStdio::BeginDiagnostic(std::move(name));
  }
  ViewResult BeginTest(std::string name, DiagKey key) override {
    BreakAt("BeginTest");
    return OrvanStdio::BeginTest(std::move(name), key);
  }
  ViewResult EndTest(TestStatus status, double elapsedSeconds) override {
    BreakAt("EndTest");
    return OrvanStdio::EndTest(status, elapsedSeconds);
  }
  ViewResult EndDiagnostic() override {
    BreakAt("EndDiagnostic");
    return OrvanStdio::EndDiagnostic();
  }
  ViewResult EndSuite(std::string resultText, double elapsedSeconds, bool failed) override {
    BreakAt("EndSuite");
    return OrvanStdio::EndSuite(std::move(resultText), elapsedSeconds, failed);
  }

 private:
  void BreakAt(const std::string& operation) {
    if (operation != operation_) return;
    operation_.clear();
    throw std::runtime_error(operation);
  }

  std::string operation_;
};

class BrokenRun : public FrontEndTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(BrokenRun, EndsAtTheServiceBeforeTheExceptionGoesOn) {
  AddStorage();
  int begun = 0;
  service().beforeTest = [&begun] { ++begun; };
  EXPECT_EQ(Parse({"-Mstorage", "-Q", "-E"}), 0);
  cli->view = std::make_unique<BreakingView>(capture, GetParam());
  EXPECT_THROW(cli->RunSelection(), std::runtime_error);
  EXPECT_EQ(begun, 3) << "the plan of the first device was played to its end";
  EXPECT_EQ(service().runs.size(), 1U) << "and no further one";
  EXPECT_EQ(service().aborts.size(), 1U);
  EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
}

INSTANTIATE_TEST_SUITE_P(Operations, BrokenRun,
                         ::testing::Values("BeginSuite", "BeginDiagnostic", "BeginTest", "EndTest",
                                           "EndDiagnostic", "EndSuite"));

}  // namespace
