#include <thread>

#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class Listings : public FrontEndTest {
 protected:
  Listings() {
    storage = &AddStorage();
    memory = &AddMemory();
  }
  FakeDevice& Disk(std::size_t index) {
    return *static_cast<FakeDevice*>(storage->deviceList.at(index));
  }

  FakeModule* storage;
  FakeModule* memory;
};

const std::string kDiskA =
    FieldText("ID", "Id", "0") + FieldText("DISPLAY_NAME", "Display Name", "Disk A");
const std::string kDiskB =
    FieldText("ID", "Id", "1") + FieldText("DISPLAY_NAME", "Display Name", "Disk B");
const std::string kDeviceList =
    ScanText("storage") + "\n" + kRule + kDiskA + "\n" + kRule + kDiskB + "\n";
const std::string kDiagnosticList =
    "Diagnostics - storage module\n"
    "  - Quick Check:\n"
    "\tFunnel Test\n"
    "\tRead Test\n"
    "  - Extended Check:\n"
    "\tSurface Test\n"
    "\n";

TEST_F(Listings, NothingIsShownWithoutTheInformationFlag) {
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  capture.Take();
  cli->ShowInformation();
  EXPECT_EQ(Screen(), "");
}

TEST_F(Listings, NoListingChangesTheResult) {
  Inform({"-Mstorage", "-D", "-R"});
  EXPECT_EQ(cli->result, -1);
  EXPECT_EQ(cli->ExitStatus(), 0);
}

// Versions.

TEST_F(Listings, VersionsOfTheProgramAndOfEveryModule) {
  service().AddModule("PCI_Express").version = ProductVersion(4, 3, 2, 10);
  EXPECT_EQ(Inform({"-v"}),
            "  CLI - version 5.0.0.0\n"
            "  storage - version 1.0.0.0\n"
            "  memory - version 1.0.0.0\n"
            "  pci_express - version 4.3.2.10\n");
}

TEST_F(Listings, WithASelectedModuleOnlyItsVersionFollowsTheProgram) {
  EXPECT_EQ(Inform({"-Mmemory", "-v"}),
            "  CLI - version 5.0.0.0\n"
            "  memory - version 1.0.0.0\n");
}

TEST_F(Listings, ASelectionThatResolvedToNothingShowsTheVersionOfEveryModule) {
  EXPECT_EQ(Inform({"-Mnosuch", "-L"}), HelpText("storage, memory") +
                                            "  storage - version 1.0.0.0\n"
                                            "  memory - version 1.0.0.0\n");
}

// Module list.

const std::string kModuleHint =
    "\n> See help of a module\n"
    "  Usage: TarvexDiagnosticsCLI -Mmodule_name -h\n"
    "  Examples:\n"
    "    => See storage help\n"
    "           TarvexDiagnosticsCLI -Mstorage -h\n\n";

TEST_F(Listings, TheModuleListNamesEachModuleAndEndsInTheHint) {
  service().AddModule("FAN");
  EXPECT_EQ(Inform({"-A"}),
            "> Available Modules\n  - storage\n  - memory\n  - fan\n" + kModuleHint);
}

TEST_F(Listings, ASupervisorGetsFieldsForTheModules) {
  EXPECT_EQ(Inform({"--HDK", "-A"}), "MODULE_NAME:::storage\nMODULE_NAME:::memory\n");
}

class ListingsWithoutModules : public FrontEndTest {};

TEST_F(ListingsWithoutModules, TheModuleListWarns) {
  EXPECT_EQ(Inform({"-A"}), "[Warning] No module loaded\n\n");
}

TEST_F(ListingsWithoutModules, HelpWarnsAndIsShown) {
  EXPECT_EQ(Inform({"-h"}), "[Warning] No available modules\n\n" + HelpText(""));
}

TEST_F(ListingsWithoutModules, VersionsWarnAndShowTheProgram) {
  EXPECT_EQ(Inform({"-v"}), "[Warning] No module loaded\n\n  CLI - version 5.0.0.0\n");
}

// Devices.

TEST_F(Listings, DevicesAreScannedAndShown) {
  EXPECT_EQ(Inform({"-Mstorage", "-D"}), kDeviceList);
  EXPECT_EQ(storage->scans, 1);
}

TEST_F(Listings, AModuleWithoutDevicesSaysSo) {
  storage->deviceList.clear();
  EXPECT_EQ(Inform({"-Mstorage", "-D"}),
            ScanText("storage") + "\n" + kRule + "No devices found for this module\n\n");
}

TEST_F(Listings, EntriesShowLabelAndValueInTheirOrder) {
  Disk(0).Entry("SERIAL_NUMBER", "S1").Entry("STATE", "_NOT_READY").Entry("CAPACITY", "5_GB");
  const std::string screen = Inform({"-Mstorage", "-D"});
  EXPECT_NE(screen.find(kDiskA + FieldText("SERIAL_NUMBER", "Serial Number", "S1") +
                        FieldText("STATE", "State", "Not Ready") +
                        FieldText("CAPACITY", "Capacity", "5_GB")),
            std::string::npos)
      << screen << "only a value that begins with an underscore is a key";
}

TEST_F(Listings, ResourcesAreShownWhenAskedFor) {
  Disk(1).resources = {{"PARTITION", {{"LABEL", "_ROOT_DISK"}, {"_SIZE", "5 GB"}}}, {"VOLUME", {}}};
  EXPECT_EQ(Inform({"-Mstorage", "-R"}),
            ScanText("storage") + "\n" + kRule + kDiskA + "\n" + kRule + kDiskB + kDotsRow +
                "Resources\n" + kDotsRow +
                FieldText("RESOURCE_TYPE", "Resource Type", "PARTITION") +
                FieldText("LABEL", "Label", "Root Disk") + FieldText("SIZE", "Size", "5 GB") +
                kDotsRow + FieldText("RESOURCE_TYPE", "Resource Type", "VOLUME") + kDotsRow + "\n");
}

TEST_F(Listings, ADeviceListShowsNoResources) {
  Disk(0).resources = {{"PARTITION", {{"LABEL", "x"}}}};
  EXPECT_EQ(Inform({"-Mstorage", "-D"}), kDeviceList);
}

TEST_F(Listings, ASupervisorsDeviceListHoldsTestRecords) {
  TestOf(*storage, 0, 0).NotOn("1").Parameter("loops", kParameterInteger);
  TestOf(*storage, 0, 1).Parameter("on", kParameterBoolean).Parameter("text", kParameterText);
  TestParameter own;
  own.name = "own";
  own.label = "OF_THE_DEVICE";
  own.type = kParameterUnknown;
  TestOf(*storage, 1, 0).deviceParameters["1"] = {own};
  Disk(0).Entry("SERIAL", "A-1").resources = {{"PARTITION", {}}};
  const std::string read =
      "1.2.3::TEST_READ_TEST:::1\n"
      "on:::Label Of On::BOOLEAN::extra of on\n"
      "text:::Label Of Text::TEXT::extra of text\n"
      "1.2.3::TEST_SURFACE_TEST:::1\n";
  EXPECT_EQ(Inform({"--HDK", "-Mstorage", "-R"}),
            "ID:::0\nDISPLAY_NAME:::Disk A\nSERIAL:::A-1\n"
            "1.2.3::TEST_FUNNEL_TEST:::1\n"
            "loops:::Label Of Loops::INTEGER::extra of loops\n" +
                read +
                "RESOURCE_TYPE:::PARTITION\n"
                "ID:::1\nDISPLAY_NAME:::Disk B\n"
                "1.2.3::TEST_FUNNEL_TEST:::0\n"
                "loops:::Label Of Loops::INTEGER::extra of loops\n" +
                read + "own:::Of The Device::UNKNOWN::\n");
}

TEST_F(Listings, AnUnsupervisedDeviceListHoldsNoTestRecords) {
  EXPECT_EQ(Inform({"-Mstorage", "-D"}).find("TEST_"), std::string::npos);
}

// Tools.

TEST_F(Listings, ToolsAreShownWithTheirHints) {
  storage->AddTool("recover_bad_sectors", "REPAIRS_SECTORS_OF_|H|D|DS", "recover");
  EXPECT_EQ(Inform({"-Mstorage", "-S"}),
            "Storage tools:\n"
            "\n => Recover Bad Sectors\n"
            "\tDescription\tRepairs sectors of HDDs\n"
            "\tHint\t\trecover\n"
            "\tMore info\tTarvexDiagnosticsCLI -Mstorage -Trecover\n");
}

TEST_F(Listings, AModuleWithoutToolsSaysSo) {
  const std::string screen = Inform({"-Mstorage", "-S"});
  EXPECT_NE(screen.find("No tools found in this module\n"), std::string::npos) << screen;
}

// Diagnostics.

TEST_F(Listings, DiagnosticsAreShownWithTheirTests) {
  EXPECT_EQ(Inform({"-Mstorage", "-L"}), kDiagnosticList);
}

TEST_F(Listings, TestsWithParametersOfTheirOwnHaveAnAsteriskAndAFootnote) {
  TestOf(*storage, 0, 1).Parameter("loops", kParameterInteger);
  EXPECT_EQ(Inform({"-Mstorage", "-L"}),
            "Diagnostics - storage module\n"
            "  - Quick Check:\n"
            "\tFunnel Test\n"
            "\tRead Test*\n"
            "  - Extended Check:\n"
            "\tSurface Test\n"
            "\n"
            "  *Accepts Custom Parameters\n");
}

TEST_F(Listings, ASupervisorGetsTheVersionOfEachTest) {
  TestOf(*storage, 0, 0).key.major = 0x30007;
  TestOf(*storage, 0, 0).key.minor = 8;
  TestOf(*storage, 0, 0).key.build = (std::uint64_t{5} << 32) + 900;  // the low 32 bits show
  TestOf(*storage, 0, 1).Parameter("loops", kParameterInteger);
  EXPECT_EQ(Inform({"--HDK", "-Mstorage", "-L"}),
            "FUNNEL_TEST:::7.8.900\n"
            "READ_TEST:::1.2.3::CUSTOM_PARAM\n"
            "SURFACE_TEST:::1.2.3\n");
}

// Several kinds for each module, whatever the order of the options.

TEST_F(Listings, ToolsComeBehindDevicesAndBeforeDiagnostics) {
  EXPECT_EQ(Parse({"-Mstorage", "-L"}), 0);
  Selection("storage").infoFlags = 8 | 16 | 4 | 2;
  cli->flags |= CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_TOOLS;
  capture.Take();
  cli->ShowInformation();
  const std::string screen = Screen();
  const std::size_t version = screen.find("storage - version");
  const std::size_t devices = screen.find(kDeviceList);
  const std::size_t tools = screen.find("Storage tools:");
  const std::size_t diagnostics = screen.find(kDiagnosticList);
  EXPECT_LT(version, devices) << screen;
  EXPECT_LT(devices, tools);
  EXPECT_LT(tools, diagnostics);
  EXPECT_NE(diagnostics, std::string::npos);
}

TEST_F(Listings, DevicesThenDiagnosticsIsMoreThanOneKind) {
  ExpectFatal({"-Mstorage", "-D", "-L"},
              "user asked for more than one kind of information at the same time");
}

TEST_F(Listings, TheModulesAreShownInTheOrderOfTheLine) {
  const std::string screen = Inform({"-Mmemory", "-Mstorage", "-L"});
  EXPECT_LT(screen.find("Diagnostics - memory module"),
            screen.find("Diagnostics - storage module"));
}

// The device scan.

TEST_F(Listings, TheScanIsShownWhileItIsUnderWayAndWhenItIsFinished) {
  EXPECT_EQ(Parse({"-Mstorage", "-D"}), 0);
  capture.Take();
  ModuleSelection& selection = Selection("storage");
  cli->ScanModuleDevices(&selection);
  const std::string output = capture.Take();
  EXPECT_EQ(output.find("\\ Scanning storage devices \r"), 0U) << output;
  const std::string finished = "[Info] Scanning storage devices finished\n \r";
  EXPECT_EQ(output.rfind(finished), output.size() - finished.size()) << output;
  EXPECT_EQ(selection.serviceDevices, storage->GetDevices());
}

TEST_F(Listings, ALongScanIsRedrawnAndMakesTheServiceThreadDoIt) {
  // The scan ends when the line was redrawn twice.
  class CountingView : public OrvanStdio {
   public:
    CountingView(std::wostream& console, FakeSemaphore& redrawn)
        : OrvanStdio(console), redrawn_(redrawn) {}
    ViewResult ShowDeviceScan(std::string name, bool finished) override {
      calls.push_back(name + (finished ? "|finished" : "|scanning"));
      redrawn_.Post();
      return 0;
    }
    Words calls;

   private:
    FakeSemaphore& redrawn_;
  };
  FakeSemaphore redrawn;
  redrawn.Init(0, 100);
  storage->onScan = [&redrawn] {
    for (int i = 0; i < 3; ++i) redrawn.Wait();
  };
  EXPECT_EQ(Parse({"-Mstorage", "-D"}), 0);
  auto view = std::make_unique<CountingView>(capture, redrawn);
  const Words& calls = view->calls;
  cli->view = std::move(view);
  cli->ScanModuleDevices(&Selection("storage"));
  EXPECT_EQ(calls, (Words{"storage|scanning", "storage|scanning", "storage|scanning",
                          "storage|finished"}));
  EXPECT_TRUE(cli->threadStatus->done);
  EXPECT_EQ(cli->threadStatus->value, 0U);
}

TEST_F(Listings, AScanOfNothingReturnsAtOnce) {
  EXPECT_EQ(Parse({"-Mnosuch"}), 0);
  capture.Take();
  cli->ScanModuleDevices(nullptr);
  cli->ScanModuleDevices(&Selection("nosuch"));
  EXPECT_EQ(Screen(), "");
}

}  // namespace
