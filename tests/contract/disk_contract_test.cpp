#include "tests/contract/machine_contract_support.h"

namespace orvan {
namespace {

// Reads the disk in blocks of 4 KiB and tells each answer by its id.
void SeeReads(KeptMachine& machine, std::ostream& seen) {
  sdk::BlockReaderOptions options;
  options.device = "/dev/sda";
  options.expectedDevice = kNumber;
  options.diskSequence = kSequence;
  options.depth = 4;
  const sdk::OpenedReader opened = machine.OpenReader(options, {});
  seen << NumberOf(opened.failure) << ' ' << opened.error << '\n';
  if (!opened.reader) return;
  seen << opened.reader->Geometry().sizeBytes << ' ' << opened.reader->Capacity() << '\n';
  std::uint64_t next = 0;
  std::size_t outstanding = 0;
  for (int call = 0; call < 100 && (next < 16 || outstanding > 0); ++call) {
    std::vector<sdk::BlockRead> reads;
    for (; next < 16 && outstanding < opened.reader->Capacity(); ++next, ++outstanding) {
      reads.push_back({next, next * 4096, 4096, 0});
    }
    opened.reader->Submit(reads);
    std::vector<sdk::BlockReadResult> results;
    const auto state = opened.reader->Collect(results, std::chrono::milliseconds(100));
    for (const auto& result : results) {
      seen << result.id << ':' << NumberOf(result.outcome) << '/' << result.error << ' ';
    }
    outstanding -= results.size();
    if (state == sdk::ReaderState::kWorking) continue;
    seen << "state " << NumberOf(state);
    break;
  }
  seen << '\n';
}

TEST(DiskContractTest, ReadsEndAsTheDiskSays) {
  ExpectOfAll(
      SeeReads,
      "0 0\n65536 8\n"
      "0:0/0 1:1/61 2:0/0 3:0/0 4:0/0 5:0/0 6:0/0 7:0/0 8:0/0 9:0/0 10:1/5 11:0/0 12:0/0 13:0/0 "
      "14:0/0 15:0/0 \n",
      [] {
        return MakeFaulty({.badSectors = {{9, ENODATA}, {87, EIO}}});
      });
}

TEST(DiskContractTest, AReadThatHangsIsAnsweredInItsTime) {
  ExpectOfAll(SeeReads,
              "0 0\n65536 8\n"
              "0:0/0 1:0/0 3:0/0 4:0/0 5:0/0 6:0/0 7:0/0 8:0/0 9:0/0 10:0/0 11:0/0 12:0/0 13:0/0 "
              "14:0/0 15:0/0 2:2/110 \n",
              [] {
                auto machine = MakeFaulty();
                machine->disks["/dev/sda"].reads.hangingSectors = {16};
                return machine;
              });
}

TEST(DiskContractTest, ADiskVanishesInTheMiddle) {
  ExpectOfAll(SeeReads,
              "0 0\n65536 8\n"
              "0:0/0 1:0/0 2:1/19 3:1/19 4:1/19 5:1/19 6:1/19 7:1/19 8:1/19 9:1/19 10:1/19 11:1/19 "
              "12:1/19 13:1/19 14:1/19 15:1/19 \n",
              [] { return MakeFaulty({.vanishAfter = 16}); });
}

TEST(DiskContractTest, EachEndOfAReaderIsTold) {
  for (const auto state :
       {sdk::ReaderState::kHung, sdk::ReaderState::kStalled, sdk::ReaderState::kLost}) {
    ExpectOfAll(SeeReads,
                "0 0\n65536 8\n0:0/0 1:0/0 state " + std::to_string(NumberOf(state)) + '\n',
                [state] {
                  auto machine = MakeFaulty();
                  machine->disks["/dev/sda"].reads.loseAfterReads = 2;
                  machine->disks["/dev/sda"].reads.lostAs = state;
                  return machine;
                });
  }
}

TEST(DiskContractTest, EachFailureOfAnOpeningIsTold) {
  for (int failure = 1; failure <= NumberOf(sdk::OpenFailure::kStopped); ++failure) {
    ExpectOfAll(SeeReads, std::to_string(failure) + " 7\n", [failure] {
      auto machine = MakeFaulty();
      machine->disks["/dev/sda"].openFailure = static_cast<sdk::OpenFailure>(failure);
      machine->disks["/dev/sda"].openError = 7;
      return machine;
    });
  }
}

void SeeWrites(KeptMachine& machine, std::ostream& seen) {
  const sdk::BlockWriterOptions options{"/dev/sda", kNumber, kSequence};
  seen << NumberOf(machine.OpenWriter(options, {}).refusal) << ' ';
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter(options, {});
  seen << NumberOf(opened.refusal) << ' ' << opened.error << ' ' << opened.user << '\n';
  if (!opened.writer) return;
  seen << opened.writer->Geometry().sizeBytes << '\n';
  std::vector<std::byte> bytes(512, std::byte{7});
  std::vector<std::byte> back(512);
  const auto tell = [&seen](const sdk::TransferResult& result) {
    seen << NumberOf(result.outcome) << '/' << result.error << ' ';
  };
  for (const std::uint64_t offset : {0U, 512U, 1024U}) {
    tell(opened.writer->Read(offset, back));
    tell(opened.writer->Write(offset, bytes));
    tell(opened.writer->Read(offset, back));
    seen << (back == bytes) << ' ';
  }
  tell(opened.writer->Flush());
  tell(opened.writer->Write(1, bytes));
  machine.GrantWriting(false);
  tell(opened.writer->Write(0, bytes));
  machine.GrantWriting(true);
  tell(opened.writer->Read(0, back));
  machine.GrantWriting(false);
  seen << NumberOf(machine.OpenWriter(options, {}).refusal) << '\n';
}

TEST(DiskContractTest, WritesAreReadAgainWhereTheRowSaysThatItWrites) {
  ExpectOfAll(SeeWrites,
              "1 0 0 \n65536\n"
              "0/0 0/0 0/0 1 0/0 0/0 0/0 1 0/0 0/0 0/0 1 0/0 3/22 3/1 3/1 1\n");
}

TEST(DiskContractTest, AnotherMediumUnderTheSameNumberIsNotOpened) {
  const auto make = [] {
    auto machine = MakeFaulty();
    machine->disks["/dev/sda"].diskSequence = kSequence + 1;
    return machine;
  };
  ExpectOfAll(SeeReads, "2 19\n", make);
  ExpectOfAll(SeeWrites, "1 6 19 \n", make);
}

TEST(DiskContractTest, AWriteHealsFailsOrHangs) {
  ExpectOfAll(SeeWrites,
              "1 0 0 \n65536\n"
              "1/5 0/0 0/0 1 0/0 1/28 0/0 0 0/0 2/0 3/108 0 3/108 3/108 3/1 3/1 1\n",
              [] {
                return MakeFaulty({.badSectors = {{0, EIO}},
                                   .healsOnWrite = true,
                                   .failingWrites = {{1, ENOSPC}},
                                   .hangingWrites = {2}});
              });
}

TEST(DiskContractTest, EachRefusalToWriteIsTold) {
  for (int refusal = 1; refusal <= NumberOf(sdk::kLastWriteRefusal); ++refusal) {
    ExpectOfAll(SeeWrites, "1 " + std::to_string(refusal) + " 7 /home\n", [refusal] {
      auto machine = MakeFaulty();
      sdk::testing::FaultyDisk& disk = machine->disks["/dev/sda"];
      disk.refusal = static_cast<sdk::WriteRefusal>(refusal);
      disk.refusalError = 7;
      disk.user = "/home";
      return machine;
    });
  }
}

void SeeParts(KeptMachine& machine, std::ostream& seen) {
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter({"/dev/sda", kNumber, kSequence}, {});
  std::vector<std::byte> bytes(8192), back(4096);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::byte>(i / 100);
  opened.writer->Write(0, bytes);
  const auto tell = [&](std::uint64_t offset) {
    opened.writer->Read(offset, back);
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    seen << std::equal(back.begin(), back.end(), at) << ' ';
  };
  for (const std::uint64_t offset : {0U, 4096U, 2048U}) tell(offset);
  // Two writes side by side, of which one lies over the first.
  std::reverse(bytes.begin() + 2048, bytes.begin() + 4096);
  opened.writer->Write(2048, std::span(bytes).subspan(2048, 1024));
  opened.writer->Write(3072, std::span(bytes).subspan(3072, 1024));
  for (const std::uint64_t offset : {0U, 2048U}) tell(offset);
}

TEST(DiskContractTest, WhatWasWrittenIsReadAgainInOtherParts) {
  ExpectOfAll(SeeParts, "1 1 1 1 1 ");
}

void SeeZeros(KeptMachine& machine, std::ostream& seen) {
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter({"/dev/sda", kNumber, kSequence}, {});
  std::vector<std::byte> back(4096, std::byte{1});
  opened.writer->Read(8192, back);
  seen << (back == std::vector<std::byte>(4096));
}

TEST(DiskContractTest, WhatHoldsNothingIsReadAsZeros) {
  ExpectOfAll(SeeZeros, "1");
}

// Writes 17 MiB, and reads the first and the last of them again, and one that was never written.
void SeeMuch(KeptMachine& machine, std::ostream& seen) {
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter({"/dev/sda", kNumber, kSequence}, {});
  std::vector<std::byte> bytes(1U << 20, std::byte{7}), back(bytes.size());
  for (std::uint64_t i = 0; i < 17; ++i) opened.writer->Write(i * bytes.size(), bytes);
  for (const std::uint64_t i : {0U, 16U, 17U}) {
    const sdk::TransferResult result = opened.writer->Read(i * bytes.size(), back);
    seen << NumberOf(result.outcome) << '/' << result.error << ' ' << (back == bytes) << ' ';
  }
}

TEST(DiskContractTest, WhatAReplayHasForgottenIsNotTried) {
  const auto make = [] {
    auto machine = MakeFaulty();
    const sdk::BlockGeometry geometry{18U << 20, 512, 512};
    machine->disks["/dev/sda"].medium = std::make_shared<MemoryDisk>(geometry);
    return machine;
  };
  const std::string all = "0/0 1 0/0 1 0/0 0 ";
  EXPECT_EQ(SeenBy(Kind::kFaulty, SeeMuch, make), all);
  EXPECT_EQ(SeenBy(Kind::kRecording, SeeMuch, make), all);
  EXPECT_EQ(SeenBy(Kind::kReplay, SeeMuch, make), "3/42 0 0/0 1 0/0 0 ");
}

void SeeAStop(KeptMachine& machine, std::ostream& seen) {
  machine.GrantWriting(true);
  for (const bool isEnd : {false, true}) {
    std::stop_source stop;
    sdk::BlockWriterOptions options{"/dev/sda", kNumber, kSequence};
    options.stopEndsTransfers = isEnd;
    const sdk::OpenedWriter opened = machine.OpenWriter(options, stop.get_token());
    stop.request_stop();
    for (int i = 0; i < 2; ++i) {
      const auto result = opened.writer->Write(0, std::vector<std::byte>(512));
      seen << NumberOf(result.outcome) << '/' << result.error << ' ';
    }
  }
}

TEST(DiskContractTest, AStopEndsTransfersWhereThatIsAskedFor) {
  ExpectOfAll(SeeAStop, "0/0 0/0 4/0 3/108 ");
}

void SeeASignature(KeptMachine& machine, std::ostream& seen) {
  machine.GrantWriting(true);
  for (const bool isAsked : {false, true}) {
    sdk::BlockWriterOptions options{"/dev/sda", kNumber, kSequence};
    options.onlyWithoutSignature = isAsked;
    const sdk::OpenedWriter opened = machine.OpenWriter(options, {});
    seen << NumberOf(opened.refusal) << ' ' << opened.user << ' ';
  }
}

TEST(DiskContractTest, ASignatureKeepsADiskFromBeingOpenedWhereThatIsAskedFor) {
  ExpectOfAll(SeeASignature, "0  0  ");
  ExpectOfAll(SeeASignature, "0  11 ext4 ", [] {
    auto machine = MakeFaulty();
    machine->fileSystems["/dev/sda"].fileSystem = "ext4";
    return machine;
  });
}

// Of what was never recorded no verdict may come.
TEST(DiskContractTest, ADiskThatWasNeverRecordedIsNotTried) {
  const auto machine = TestTape::ReplayOf(std::string(recording::kFirstLine));
  std::ostringstream seen;
  SeeReads(*machine, seen);
  SeeWrites(*machine, seen);
  EXPECT_EQ(seen.str(),
            "1 42\n"
            "1 9 42 \n");
}

}  // namespace
}  // namespace orvan
