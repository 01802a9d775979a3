#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <sstream>

#include "service/machine/live_machine.h"
#include "service/machine/reader_test_support.h"
#include "service/sdk/read_errors.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/file_server.h"
#include "tests/support/loop_device.h"
#include "tests/support/recording_test_support.h"

// What the live machine does as every other one: over a folder in the place of its root, a file in
// the place of a disk that is read, a loop device for one that is written, and a drive by a script.
namespace orvan {
namespace {

using machine::KeptMachine;
using recording::TestTape;

void SeeFiles(KeptMachine& machine, std::ostream& seen) {
  int error = 0;
  for (const char* path : {"/value", "/link", "/none", "/folder"}) {
    const auto bytes = machine.Files().ReadBytes(path, 10, &error);
    seen << path << ": " << bytes.value_or("none") << ' ';
  }
  seen << machine.Files().ReadLink("/link").value_or("none") << ' '
       << machine.Files().Exists("/folder") << machine.Files().Exists("/none") << '\n';
  for (const std::string& name : machine.Files().List("/")) seen << name << ' ';
  seen << machine.Files().Resolve("/folder/../link") << '\n';
}

void SeeReads(KeptMachine& machine, const std::string& device, std::ostream& seen) {
  sdk::BlockReaderOptions options;
  options.device = device;
  options.depth = 4;
  options.queued = 4;
  options.fileSectorBytes = machine::kSector;
  const sdk::OpenedReader opened = machine.OpenReader(options, {});
  seen << static_cast<int>(opened.failure) << '/' << opened.error;
  if (!opened.reader) return;
  seen << ' ' << opened.reader->Geometry().sizeBytes << ' '
       << opened.reader->Geometry().logicalSectorBytes;
  std::map<std::uint64_t, int> outcomes;
  opened.reader->Submit({{0, 0, machine::kSector, 0}, {1, 8192, 2 * machine::kSector, 0}});
  for (int call = 0; call < 100 && outcomes.size() < 2; ++call) {
    std::vector<sdk::BlockReadResult> results;
    opened.reader->Collect(results, std::chrono::milliseconds(100));
    for (const auto& result : results) outcomes[result.id] = static_cast<int>(result.outcome);
  }
  for (const auto& [id, outcome] : outcomes) seen << ' ' << id << ':' << outcome;
}

void SeeState(KeptMachine& machine, std::ostream& seen) {
  sdk::ModuleState& state = machine.State();
  int error = 0;
  seen << state.Read("a", error).value_or("none") << state.Replace("a", "one")
       << state.Append("a", " two") << ' ' << state.Read("a", error).value_or("none") << ' '
       << state.List(error).size() << state.Remove("a") << state.Replace("../a", "x") << '\n';
}

void SeeAll(KeptMachine& machine, const std::string& device, std::ostream& seen) {
  SeeFiles(machine, seen);
  SeeReads(machine, device, seen);
  seen << ' ';
  SeeReads(machine, device + ".none", seen);
  seen << '\n';
  SeeState(machine, seen);
  seen << static_cast<int>(machine.OpenWriter({device, 1}, {}).refusal) << ' ';
  sdk::DriveCommand format;
  format.device = device;
  format.command = sdk::ScsiCommand{{0x04, 0, 0, 0, 0, 0}};
  format.direction = sdk::DataDirection::kToDevice;
  format.dataOut = {1};
  seen << static_cast<int>(machine.Send(format, {}).outcome) << ' ' << machine.PinThisThread(60000)
       << ' ' << machine.LockMemory(4096).error << ' ' << (machine.Chance() != machine.Chance())
       << ' ' << machine.LeftBehind() << '\n';
}

std::string Expected(int memoryError) {
  return "/value: 17\n /link: 17\n /none: none /folder: none value 10\n"
         "folder link value /value\n"
         "0/0 1048576 4096 0:0 1:0 2/2\n"
         "none00 one two 1022\n"
         "1 1 22 " +
         std::to_string(memoryError) + " 1 0\n";
}

class LiveContract : public testing::Test {
 protected:
  LiveContract() {
    root_.Write("value", "17\n");
    std::filesystem::create_symlink("value", root_ / "link");
    std::filesystem::create_directory(root_ / "folder");
  }

  std::unique_ptr<KeptMachine> Live() const { return LiveAt(root_.Path()); }
  std::unique_ptr<KeptMachine> LiveAt(const std::string& root) const {
    return machine::MakeLiveMachine(
        {.root = root,
         .stateFolder =
             tarvex::Descriptor(open(state_.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
         .filesMayBeDrives = true});
  }

  std::string Seen(KeptMachine& machine) const {
    std::ostringstream seen;
    SeeAll(machine, disk_.Path(), seen);
    return seen.str();
  }

  const TestFolder root_;
  const TestFolder state_;
  const machine::DiskFile disk_;
};

TEST_F(LiveContract, TheLiveMachineKeepsIt) {
  EXPECT_EQ(Seen(*Live()), Expected(0));
}

TEST_F(LiveContract, SoDoItsRecordingAndTheReplay) {
  const TestTape tape;
  EXPECT_EQ(Seen(*tape.Record(Live())), Expected(0));
  EXPECT_EQ(Seen(*tape.Replay()), Expected(sdk::kNotRecorded));
}

TEST_F(LiveContract, SoDoesTheOneInMemory) {
  sdk::testing::FaultyMachine faulty(std::make_unique<sdk::testing::CapturedFiles>(
      "f /value 17\\x0a\nl /link value\nd /folder\n"));
  faulty.disks[disk_.Path()].medium = std::make_shared<sdk::testing::MemoryDisk>(
      sdk::BlockGeometry{machine::kSectors * machine::kSector, machine::kSector, machine::kSector});
  EXPECT_EQ(Seen(faulty), Expected(0));
}

void SeeWrites(KeptMachine& machine, const sdk::BlockWriterOptions& options, std::ostream& seen) {
  const auto tell = [&seen](const sdk::TransferResult& result) {
    seen << static_cast<int>(result.outcome) << '/' << result.error << ' ';
  };
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter(options, {});
  seen << static_cast<int>(opened.refusal) << '/' << opened.error << ' ';
  if (!opened.writer) return;
  const std::vector<std::byte> bytes(512, std::byte{7});
  std::vector<std::byte> back(512);
  tell(opened.writer->Write(1024, bytes));
  tell(opened.writer->Flush());
  tell(opened.writer->Read(1024, back));
  seen << (back == bytes) << ' ';
  tell(opened.writer->Write(1, bytes));
  tell(opened.writer->Write(opened.writer->Geometry().sizeBytes, bytes));
  machine.GrantWriting(false);
  machine.GrantWriting(true);
  tell(opened.writer->Write(0, bytes));
  tell(opened.writer->Read(1024, back));
  tell(opened.writer->Flush());
}

TEST_F(LiveContract, ADiskIsWrittenAlike) {
  if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
  const std::string kWritten = "0/0 0/0 0/0 0/0 1 3/22 3/22 3/1 3/1 3/1 ";
  const std::string kAnother = "6/19 ";  // another medium under that number
  state_.Write("disk", std::string(65536, 'x'));
  const LoopDevice loop(state_ / "disk", 512, false);
  sdk::BlockWriterOptions right{loop.Path(), NumberOf(loop.Path()), SequenceOf(loop.Path())};
  sdk::BlockWriterOptions wrong = right;
  ++wrong.diskSequence;
  const auto see = [&](KeptMachine& machine) {
    std::ostringstream seen;
    SeeWrites(machine, right, seen);
    SeeWrites(machine, wrong, seen);
    return seen.str();
  };
  EXPECT_EQ(see(*LiveAt("/")), kWritten + kAnother);
  const TestTape tape;
  EXPECT_EQ(see(*tape.Record(LiveAt("/"))), kWritten + kAnother) << "recording";
  EXPECT_EQ(see(*tape.Replay()), kWritten + kAnother) << "replay";
  sdk::testing::FaultyMachine faulty(std::make_unique<sdk::testing::CapturedFiles>(""));
  sdk::testing::FaultyDisk& disk = faulty.disks[right.device];
  disk.medium = std::make_shared<sdk::testing::MemoryDisk>(sdk::BlockGeometry{65536, 512, 512});
  disk.deviceNumber = right.expectedDevice;
  disk.diskSequence = right.diskSequence;
  EXPECT_EQ(see(faulty), kWritten + kAnother) << "in memory";
}

// An INQUIRY that is answered, and one that the drive fails.
TEST_F(LiveContract, CommandsAreAnsweredAlike) {
  if (!FileServer::CanServe()) GTEST_SKIP() << "needs root and /dev/fuse";
  FileServer drive("scripted_drive", "drive");
  sdk::DriveCommand inquiry;
  inquiry.device = drive.Path();
  inquiry.command = sdk::ScsiCommand{{0x12, 0, 0, 0, 36, 0}};
  inquiry.direction = sdk::DataDirection::kFromDevice;
  inquiry.bytesIn = 36;
  const auto see = [&](KeptMachine& machine) {
    const sdk::CommandAnswer answer = machine.Send(inquiry, {});
    std::ostringstream seen;
    seen << static_cast<int>(answer.outcome) << '/' << answer.error << ' ' << int{answer.scsiStatus}
         << ' ' << answer.sense.size() << ' ' << answer.data.size();
    return seen.str();
  };
  for (const auto& [script, expected] : {std::pair{"sg 0 0 0 4 0 - -", "0/0 0 0 32"},
                                         {"sg 2 0 8 36 4 70000500 -", "0/0 2 4 0"},
                                         {"sg 0 3 0 0 0 - -", "3/0 0 0 0"},
                                         {"errno 25", "2/25 0 0 0"}}) {
    EXPECT_EQ(drive.Command(script), "ok");
    EXPECT_EQ(see(*Live()), expected);
    const TestTape tape;
    EXPECT_EQ(see(*tape.Record(Live())), expected) << "recording";
    EXPECT_EQ(see(*tape.Replay()), expected) << "replay";
  }
}

}  // namespace
}  // namespace orvan
