#include "tools/smart/st_cli_stdio.h"

#include <filesystem>
#include <fstream>

#include "tests/fakes/tool_test.h"

namespace {

using namespace std::string_literals;

const std::string kSigns(58, '=');
const std::string kDashes(58, '-');
// The heads with the blanks that fill their columns: 5, 30, 10, 10, 10, 15; 5, 40, 40; 40, 40.
const std::string kThresholdHead =
    "Id   Description                   Threshold Value     Worst     Data           \n";
const std::string kDescription40 = "Description                             ";
const std::string kData40 = "Data                                    ";
const std::string kLogHead = "Id   " + kDescription40 + kData40 + "\n";
const std::string kDriveTitle = "\n               TARVEX DRIVE INFORMATION\n";
const std::string kDriveHead = kDescription40 + kData40 + "\n";
const std::string kNotPossible =
    "It is not possible to retrieve smart attributes for this device\n\n";

const std::string kAttribute =
    R"([{"id":"5","name":"Reallocated_Sectors","threshold":"10","value":"100","worst":"99",)"
    R"("raw":"0"}])";
const std::string kAttributeRow =
    "5    Reallocated_Sectors           10        100       99        0              \n";
const std::string kDrive = R"({"name":"Model","value":"X 1"})";
const std::string kDriveRow =
    "Model                                   X 1                                     \n";

class STCliStdioTest : public ToolTest {
 protected:
  // The block of a device's result.
  std::string Finish(std::int32_t status, const std::string& type, const std::string& attributes,
                     const std::string& driveInformation = {}) {
    view.OnDeviceFinish("0", "Disk A", status, type, attributes, driveInformation);
    return capture.Take();
  }

  bool enabled = false;
  int asked = 0;
  STCliStdio view{capture, false, [this] {
                    ++asked;
                    return enabled;
                  }};
};

TEST_F(STCliStdioTest, TheHeaderNamesTheProgram) {
  view.ShowHeader(true);
  EXPECT_EQ(capture.Take(),
            "\n" + kSigns + "\n Tarvex Diagnostics CLI  -  Smart tool\n" + kSigns + "\n\n\n");
}

TEST_F(STCliStdioTest, TheUsageHintNamesTheHelp) {
  view.ShowUsageHint();
  EXPECT_EQ(capture.Take(),
            ">> To see instructions use: TarvexDiagnosticsCLI -Mstorage -Tsmart -h\n");
}

TEST_F(STCliStdioTest, TheHelpIsAsItIs) {
  view.ShowHelp();
  EXPECT_EQ(capture.Take(),
            "> General options\n"
            "  Usage: TarvexDiagnosticsCLI  -Mstorage -Tsmart [option(s)]\n"
            "  Options:\n"
            "\t-h, --help\t       Shows the CLI instructions\n"
            "\t-l, --list-devices     Shows the devices\n"
            "\t-i, --info             Displays SMART attributes\n"
            "\n"
            "  Usage: TarvexDiagnosticsCLI  -Mstorage -Tsmart -i [device id(s)]\n"
            "\n"
            "  Examples:\n"
            "\t=> Retrieve Smart Attributes of devices 0 and 2\n"
            "\t   TarvexDiagnosticsCLI  -Mstorage -Tsmart -i 0 2\n"
            "\t=> Retrieve Smart Attributes of all applicable devices\n"
            "\t   TarvexDiagnosticsCLI  -Tsmart -i\n"
            "\n");
}

TEST_F(STCliStdioTest, TheListDoesNotTellOfNonRotatingDevices) {
  view.ShowDevices({});
  EXPECT_EQ(capture.Take(), "> there are no applicable devices for this tool\n");
  ToolDeviceRecord device;
  device.id = "A_1";
  device.displayName = "FAST_|One";
  device.nonRotating = true;
  view.ShowDevices({device, device});
  const std::string block =
      "\n" + kDashes + "\n  Device Id\t\ta 1\n  Display Name\t\tFAST_|One\n\n";
  EXPECT_EQ(capture.Take(), "> List of devices" + block + block + "\n");
}

TEST_F(STCliStdioTest, TheEndOfAllIsSilentWithoutAText) {
  view.OnSmartToolFinish("");
  EXPECT_EQ(capture.Take(), "");
  view.OnSmartToolFinish("Over");
  EXPECT_EQ(capture.Take(), "Over\n");
}

TEST_F(STCliStdioTest, AtaAndScsiHaveSixColumnsAndNvmeThree) {
  EXPECT_EQ(Finish(0, "ata", kAttribute), kThresholdHead + kAttributeRow + "\n");
  EXPECT_EQ(Finish(0, "scsi", kAttribute), kThresholdHead + kAttributeRow + "\n");
  EXPECT_EQ(Finish(0, "nvme", R"({"a":"1","b":"Temperature","c":"300 K","d":"no column"})"),
            kLogHead + "1    Temperature                             300 K" + std::string(35, ' ') +
                "\n\n");
}

TEST_F(STCliStdioTest, AResultIsShownAtOnce) {
  view.OnDeviceFinish("0", "Disk A", 0, "ata", kAttribute, "");
  EXPECT_EQ(capture.Flushed(), kThresholdHead + kAttributeRow + "\n");
}

TEST_F(STCliStdioTest, AnUnknownTypeIsNotPossibleWhateverTheStatus) {
  for (const char* type : {"", "ATA", "ata ", "sata", "usb"}) {
    for (const std::int32_t status : {-1, 0, 1, 2, 3, 99}) {
      EXPECT_EQ(Finish(status, type, kAttribute, kDrive), kNotPossible) << type << status;
    }
  }
}

TEST_F(STCliStdioTest, WithoutAttributesAndDriveInformationItIsNotPossibleWhateverTheStatus) {
  for (const std::int32_t status : {-1, 0, 1, 2, 3, 99}) {
    EXPECT_EQ(Finish(status, "ata", "", ""), kNotPossible) << status;
  }
}

TEST_F(STCliStdioTest, EachStatusHasItsWordsAndAllOthersALineFeed) {
  EXPECT_EQ(Finish(1, "ata", kAttribute), kNotPossible);
  EXPECT_EQ(Finish(3, "nvme", kAttribute), "Not enough privileges\n");
  for (const std::int32_t status : {-1, 2, 4, 5, 8, 99}) {
    EXPECT_EQ(Finish(status, "scsi", kAttribute, kDrive), "\n") << status;
  }
  EXPECT_EQ(asked, 0);
}

TEST_F(STCliStdioTest, AMessageIsShownOnceAndAsItIs) {
  view.SetMessage("SEE_|LOG");
  EXPECT_EQ(Finish(3, "ata", kAttribute), "Not enough privileges - SEE_|LOG\n");
  EXPECT_EQ(Finish(3, "ata", kAttribute), "Not enough privileges\n");
  view.SetMessage("a");
  EXPECT_EQ(Finish(0, "ata", "{}"), kThresholdHead + "\n - a\n");
}

TEST_F(STCliStdioTest, DriveInformationIsShownBehindTheTableWhenItIsOn) {
  enabled = true;
  EXPECT_EQ(Finish(0, "ata", kAttribute, kDrive),
            kThresholdHead + kAttributeRow + kDriveTitle + kDriveHead + kDriveRow + "\n");
  EXPECT_EQ(asked, 2);
}

TEST_F(STCliStdioTest, DriveInformationThatIsOffIsNotMentioned) {
  EXPECT_EQ(Finish(0, "ata", kAttribute, kDrive), kThresholdHead + kAttributeRow + "\n");
}

TEST_F(STCliStdioTest, DriveInformationAloneHasTheHeadOfTheTableWithoutRows) {
  EXPECT_EQ(Finish(0, "nvme", "", kDrive), kLogHead + "\n");
  enabled = true;
  EXPECT_EQ(Finish(0, "nvme", "", kDrive), kLogHead + kDriveTitle + kDriveHead + kDriveRow + "\n");
}

TEST_F(STCliStdioTest, WithoutDriveInformationThereIsNoSection) {
  enabled = true;
  EXPECT_EQ(Finish(0, "ata", kAttribute, ""), kThresholdHead + kAttributeRow + "\n");
}

TEST_F(STCliStdioTest, DriveInformationThatIsTurnedOffMeanwhileIsNotShown) {
  STCliStdio changing(capture, false, [this] { return ++asked == 1; });
  changing.OnDeviceFinish("0", "Disk A", 0, "ata", kAttribute, kDrive);
  EXPECT_EQ(capture.Take(), kThresholdHead + kAttributeRow + "\n");
  EXPECT_EQ(asked, 2);
}

TEST_F(STCliStdioTest, ZeroBytesAreTakenOutOfDriveInformationOnly) {
  enabled = true;
  // The value counts as four characters, of which one goes. Elsewhere a zero byte is a control
  // character as any other.
  EXPECT_EQ(Finish(0, "ata", "{:\"\0\"}"s, "{:\"Model\",:\"X\0 1\"}"s),
            kThresholdHead + "\uFFFD    \n" + kDriveTitle + kDriveHead +
                "Model                                   X 1" + std::string(36, ' ') + "\n\n");
}

TEST_F(STCliStdioTest, AResultWipesAProgressLine) {
  view.SetProgress(5, 1);
  view.ShowProgress(1);
  EXPECT_EQ(capture.Take(), "   5% - 1 second  \r");
  EXPECT_EQ(Finish(1, "ata", kAttribute), std::string(16, ' ') + "\r" + kNotPossible);
}

TEST_F(STCliStdioTest, WhetherTheSystemIsBootableIsKept) {
  EXPECT_FALSE(view.bootable());
  EXPECT_TRUE(STCliStdio(capture, true).bootable());
}

// With the setting as the program reads it, in a working folder of its own.
class DriveInfoFile : public ToolTest {
 protected:
  DriveInfoFile() {
    std::string name = (std::filesystem::temp_directory_path() / "smart.XXXXXX").string();
    folder = mkdtemp(name.data());
    std::filesystem::current_path(folder);
  }
  ~DriveInfoFile() override {
    std::filesystem::current_path(before);
    std::filesystem::remove_all(folder);
  }
  static void Write(const std::string& text) { std::ofstream("config.ini") << text; }
  bool IsShown() {
    view.OnDeviceFinish("0", "Disk A", 0, "ata", kAttribute, kDrive);
    const std::string output = capture.Take();
    const std::string table = kThresholdHead + kAttributeRow;
    const bool shown = output == table + kDriveTitle + kDriveHead + kDriveRow + "\n";
    EXPECT_TRUE(shown || output == table + "\n");
    return shown;
  }

  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::path folder;
  STCliStdio view{capture, false};
};

TEST_F(DriveInfoFile, IsReadAnewForEachDevice) {
  EXPECT_FALSE(IsShown());
  Write("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\n");
  EXPECT_TRUE(IsShown());
  Write("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=0\n");
  EXPECT_FALSE(IsShown());
  std::filesystem::remove("config.ini");
  EXPECT_FALSE(IsShown());
}

TEST_F(DriveInfoFile, OnlyAOneTurnsItOn) {
  for (const char* value : {"0", "2", "11", "1 ", "yes", "true"}) {
    Write("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO="s + value + "\n");
    EXPECT_FALSE(IsShown()) << value;
  }
  Write("[storage]\nenable_tarvex_drive_info = 1; on\n");
  EXPECT_TRUE(IsShown());
  Write("[STORAGE]\nENABLE_TARVEX_DRIVE_INFO=1\nbare\n");
  EXPECT_FALSE(IsShown());
}

}  // namespace
