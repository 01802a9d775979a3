#include "service/core/data_collection.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <regex>

#include "tests/support/service_test_support.h"

namespace orvan::core {
namespace {

using namespace std::chrono_literals;
using testing::MakeDiagnostic;
using testing::MakeTest;
using testing::PlainModule;
using testing::PlainSource;

CollectedTest Collected(const std::string& test, TestStatus status,
                        std::chrono::duration<double> took) {
  return {"storage", "5.0.0.0", "QUICK_TEST", test, status, took};
}

TEST(DataCollection, TheExampleOfTheDocumentIsTrue) {
  const std::string document =
      testing::FileText(std::string(TARVEX_SOURCE_DIR) + "/docs/data-collection.md");
  const std::size_t begin = document.find("```json\n") + 8;
  ASSERT_LT(begin, document.size());
  DataCollection collection("5.0.0.0");
  collection.Begin("/nowhere");
  collection.AddTest(Collected("FUNNEL_READ_TEST", kTestPassed, 3021.4ms));
  collection.AddTest(Collected("RANDOM_READ_TEST", kTestCanceled, 86.5ms));
  EXPECT_EQ(document.substr(begin, document.find("```", begin) - begin), collection.Line());
}

TEST(DataCollection, TextsAreJsonWhateverTheyHold) {
  DataCollection collection("5\"");
  collection.Begin("/nowhere");
  collection.AddTest({"a\\", "1\n", "\xFF", "\t", 99, 0s});
  EXPECT_EQ(collection.Line(),
            "{\"format\":1,\"programVersion\":\"5\\\"\",\"modules\":[{\"name\":\"a\\\\\","
            "\"version\":\"1\\n\"}],\"tests\":[{\"module\":\"a\\\\\",\"diagnostic\":\"\uFFFD\","
            "\"test\":\"\uFFFD\",\"verdict\":\"NONE\",\"durationMs\":0}]}\n");
}

class Spool : public ::testing::Test {
 protected:
  std::string Text() const { return testing::FileText(folder.Path(kSpoolName)); }
  const testing::TemporaryFolder folder;
};

TEST_F(Spool, GetsALineForARunAndOnlyOnce) {
  DataCollection collection("5");
  EXPECT_TRUE(collection.End());
  EXPECT_EQ(Text(), "");
  collection.Begin(folder.Path());
  collection.Begin(folder.Path("other"));
  EXPECT_TRUE(collection.End());
  EXPECT_TRUE(collection.End());
  EXPECT_EQ(Text(), "{\"format\":1,\"programVersion\":\"5\",\"modules\":[],\"tests\":[]}\n");
}

TEST_F(Spool, LeavesOutALineThatDoesNotFit) {
  const std::string old(kLargestSpool - 10, 'x');
  folder.Write(kSpoolName, old);
  DataCollection collection("5");
  collection.Begin(folder.Path());
  EXPECT_FALSE(collection.End());
  EXPECT_EQ(Text(), old);
}

TEST_F(Spool, LeavesOutARunTooLongForItAndHoldsNoMoreOfIt) {
  DataCollection collection("5");
  collection.Begin(folder.Path());
  const std::string name(1000, 'n');
  for (int i = 0; i < 3000; ++i) collection.AddTest(Collected(name, kTestPassed, 1s));
  EXPECT_LT(collection.Line().size(), kLargestSpool + 2000);
  EXPECT_FALSE(collection.End());
  EXPECT_EQ(Text(), "");
}

// The service around it.
class CollectingServiceTest : public Spool {
 protected:
  void Start() {
    auto source = std::make_unique<PlainSource>();
    source->modules.push_back(testing::Own(MakeModule()));
    service =
        std::make_unique<Service>(std::move(source), ServiceOptions{"5.0.0.0", logs.Path(), {}});
    module = service->LoadModules(0)->front();
    module->ScanDevices();
  }
  std::unique_ptr<PlainModule> MakeModule() {
    auto plain = std::make_unique<PlainModule>();
    plain->diagnostics = {MakeDiagnostic("QUICK", 1,
                                         {MakeTest("a", 1,
                                                   [](sdk::TestContext&) {
                                                     return sdk::Verdict::Failed(
                                                         "BROKEN serial-0", "x", "y", "/dev/z");
                                                   }),
                                          MakeTest("b", 2,
                                                   [this](sdk::TestContext&) {
                                                     if (stopAtB) service->AbortExecution(2, 0, 0);
                                                     return sdk::Verdict::Passed();
                                                   }),
                                          MakeTest("c", 3, testing::Passes())})};
    return plain;
  }
  void Apply(bool on, const std::string& cache) {
    OrvanSettings settings;
    settings.SetString(kSettingAppName, "caller");
    settings.SetString(kSettingAppVersion, "9.9");
    settings.SetString(kSettingAppKey, "0123456789abcdef");
    settings.SetString(kSettingCacheDir, cache);
    settings.SetBool(kSettingDataCollection, on);
    service->ApplySettings(settings);
  }
  void RunOn(int device) {
    service->ExecuteDiagnostics(module, module->GetDevice(static_cast<std::uint32_t>(device)),
                                testing::WholePlan(*module));
  }
  std::string TextWithoutTimes() const {
    return std::regex_replace(Text(), std::regex("\"durationMs\":[0-9]+\\}"), "}");
  }
  // One device's tests with these verdicts.
  static std::string Tests(const std::vector<std::string>& verdicts) {
    std::string tests;
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
      tests += std::string(i > 0 ? "," : "") +
               "{\"module\":\"Plain\",\"diagnostic\":\"QUICK\",\"test\":\"" +
               static_cast<char>('a' + i) + "\",\"verdict\":\"" + verdicts[i] + "\",}";
    }
    return tests;
  }
  static std::string Line(const std::string& tests) {
    return "{\"format\":1,\"programVersion\":\"5.0.0.0\","
           "\"modules\":[{\"name\":\"Plain\",\"version\":\"1.2.3.4\"}],\"tests\":[" +
           tests + "]}\n";
  }

  const testing::TemporaryFolder logs;
  bool stopAtB = false;
  std::unique_ptr<Service> service;
  DiagModule* module = nullptr;
};

TEST_F(CollectingServiceTest, ARunOverAllItsPlansIsOneLineAtTheEnd) {
  Start();
  Apply(true, folder.Path());
  RunOn(0);
  RunOn(1);
  EXPECT_EQ(Text(), "");
  service->Close();
  const std::string device = Tests({"FAILED", "PASSED", "PASSED"});
  EXPECT_EQ(TextWithoutTimes(), Line(device + "," + device));
  Start();
  Apply(true, folder.Path());
  RunOn(0);
  service.reset();
  EXPECT_EQ(TextWithoutTimes(), Line(device + "," + device) + Line(device));
}

TEST_F(CollectingServiceTest, ACanceledRunIsALine) {
  stopAtB = true;
  Start();
  Apply(true, folder.Path());
  RunOn(0);
  RunOn(1);
  service->Close();
  EXPECT_EQ(TextWithoutTimes(), Line(Tests({"FAILED", "PASSED", "CANCELED"}) + "," +
                                     Tests({"CANCELED", "CANCELED", "CANCELED"})));
}

TEST_F(CollectingServiceTest, NothingIsCollectedUnlessAsked) {
  Start();
  RunOn(0);
  Apply(false, folder.Path());
  RunOn(0);
  Apply(true, "");
  RunOn(0);
  service->Close();
  EXPECT_FALSE(std::filesystem::exists(folder.Path(kSpoolName)));
}

TEST_F(CollectingServiceTest, AServiceThatRunsNothingLeavesNoLine) {
  Start();
  Apply(true, folder.Path());
  service->Close();
  EXPECT_FALSE(std::filesystem::exists(folder.Path(kSpoolName)));
}

TEST_F(CollectingServiceTest, BackslashesSeparateFoldersOfTheCache) {
  Start();
  std::filesystem::create_directory(folder.Path("cache"));
  Apply(true, folder.Path() + "\\cache");
  RunOn(0);
  service->Close();
  EXPECT_TRUE(std::filesystem::exists(folder.Path("cache/") + kSpoolName));
}

TEST_F(CollectingServiceTest, ASpoolThatCannotBeWrittenChangesNoVerdict) {
  ASSERT_EQ(mkfifo(folder.Path(kSpoolName).c_str(), 0600), 0);
  Start();
  Apply(true, folder.Path());
  service->BeginFinalResult(7, {});
  RunOn(0);
  service->Close();
  std::string code;
  service->GetFinalResultCode(code, 87);
  EXPECT_EQ(code, "9.9-FAILED-7");
  std::string log;
  for (const auto& entry : std::filesystem::directory_iterator(logs.Path())) {
    log += testing::FileText(entry.path().string());
  }
  EXPECT_NE(log.find("the collected data of the run could not be kept"), std::string::npos) << log;
}

}  // namespace
}  // namespace orvan::core
