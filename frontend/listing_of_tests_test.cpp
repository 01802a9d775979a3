#include "tests/fakes/front_end_test.h"

namespace {

class ParameterListings : public FrontEndTest {
 protected:
  ParameterListings() { storage = &AddStorage(); }

  FakeModule* storage;
};

TEST_F(ParameterListings, ParametersOfEachTestAreShownUnderTheTitle) {
  TestOf(*storage, 0, 0).Parameter("loops", kParameterInteger);
  const std::string screen = Inform({"-Mstorage", "-P"});
  const std::size_t title = screen.find("Diagnostics - storage module\n");
  const std::size_t quick = screen.find("- Quick Check\n");
  const std::size_t extended = screen.find("- Extended Check\n");
  ASSERT_NE(title, std::string::npos) << screen;
  EXPECT_LT(title, quick);
  EXPECT_LT(quick, extended);
  for (const char* part : {"Funnel Test", "loops", "INTEGER", "Read Test", "Surface Test"}) {
    EXPECT_NE(screen.find(part), std::string::npos) << part << " in " << screen;
  }
}

TEST_F(ParameterListings, AParametersWordsStandInTheirOrder) {
  TestOf(*storage, 0, 0).NotOn("0").Parameter("my_loops", kParameterInteger);
  TestParameter own = TestOf(*storage, 0, 0).parameters.at(0);
  own.initialValue = "7";
  TestOf(*storage, 0, 0).deviceParameters["1"] = {own};
  EXPECT_EQ(
      Inform({"-Mstorage", "-P"}),
      ScanText("storage") +
          "\nDiagnostics - storage module\n"
          "- Quick Check\n"
          "  - Funnel Test\n"
          "My Loops                  my_loops=7, Label Of My Loops, INTEGER, extra of my_loops\n"
          "  - Read Test\n"
          "- Extended Check\n"
          "  - Surface Test\n\n")
      << "the parameters are those for the first device that the test applies to";
}

TEST_F(ParameterListings, ASupervisorGetsParametersAsTestRecords) {
  TestOf(*storage, 0, 0).NotOn("0").NotOn("1").Parameter("loops", kParameterInteger);
  TestOf(*storage, 0, 1).NotOn("0").Parameter("on", kParameterBoolean);
  EXPECT_EQ(Inform({"--HDK", "-Mstorage", "-P"}),
            "1.2.3::TEST_FUNNEL_TEST:::0\n"
            "loops:::Label Of Loops::INTEGER::extra of loops\n"
            "1.2.3::TEST_READ_TEST:::1\n"
            "on:::Label Of On::BOOLEAN::extra of on\n"
            "1.2.3::TEST_SURFACE_TEST:::1\n");
}

TEST_F(ParameterListings, ValidationTellsOfEachParameterWhetherTheTestKnowsIt) {
  TestOf(*storage, 0, 0).Parameter("Loops", kParameterInteger);
  const std::string screen = Inform({"-Mstorage", "-Qf(loops=5,speed=1,alone,a=b=c),r", "-V", "0"});
  EXPECT_NE(screen.find("Disk A - Funnel Test\n"
                        "      alone: INVALID_PARAMETER\n"
                        "      loops: OK\n"
                        "      speed: INVALID_PARAMETER\n"),
            std::string::npos)
      << screen;
  EXPECT_NE(screen.find("Disk A - Read Test\n"), std::string::npos) << screen;
  EXPECT_EQ(screen.find("Disk B"), std::string::npos) << "only the named device";
}

TEST_F(ParameterListings, ValidationWithoutNamedDevicesLooksAtAll) {
  const std::string screen = Inform({"-Mstorage", "-Qf(x=1)", "-V"});
  EXPECT_NE(screen.find("Disk A - Funnel Test"), std::string::npos) << screen;
  EXPECT_NE(screen.find("Disk B - Funnel Test"), std::string::npos) << screen;
}

}  // namespace
