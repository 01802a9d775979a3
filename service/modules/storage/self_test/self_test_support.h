#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "service/modules/storage/drive/drive_test_support.h"
#include "service/modules/storage/self_test/self_test_run.h"
#include "service/sdk/module_test_support.h"
#include "tests/support/self_testing_drive.h"

// What the unit tests of self-tests share.
namespace orvan::storage {

using sdk::testing::SelfTestingDrive;
using Language = SelfTestingDrive::Language;
using Habits = SelfTestingDrive::Habits;

inline const char* NameOf(Language language) {
  constexpr const char* kNames[] = {"Ata", "Scsi", "Nvme"};
  return kNames[static_cast<std::size_t>(language)];
}

inline Transport TransportOf(Language language) {
  if (language == Language::kAta) return Transport::kSata;
  return language == Language::kScsi ? Transport::kSas : Transport::kNvme;
}

// Whether a command begins a self-test, or ends one.
inline bool IsOrder(const sdk::DriveCommand& command) {
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    return ata->command == 0xB0 && ata->feature == 0xD4;
  }
  if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    return scsi->cdb[0] == 0x1D;
  }
  return std::get<sdk::NvmeAdminCommand>(command.command).opcode == 0x14;
}

// A drive that tests itself, in a machine whose clock goes on while somebody waits.
struct SelfTestBench {
  explicit SelfTestBench(Language language, Habits habits = {})
      : SelfTestBench(language, std::move(habits), TransportOf(language)) {}
  SelfTestBench(Language language, Habits habits, Transport transport)
      : machine(std::make_unique<sdk::testing::CapturedFiles>(kOrdinaryFiles)),
        drive(machine, language, std::move(habits)),
        disk("0", FactsOf(transport), true),
        context(&disk) {
    machine.GrantWriting(true);
  }

  sdk::Verdict Run(SelfTestKind kind = SelfTestKind::kShort) {
    const auto begin = machine.now;
    const sdk::Verdict verdict = RunSelfTest(context, {&machine, &hung}, kind);
    took = std::chrono::duration_cast<std::chrono::seconds>(machine.now - begin);
    return verdict;
  }
  // Calls once the machine's clock has gone so far.
  void After(std::chrono::seconds time, std::function<void()> call) {
    machine.onPause = [this, at = machine.now + time, call = std::move(call),
                       isDone = false]() mutable {
      if (isDone || machine.now < at) return;
      isDone = true;
      call();
    };
  }

  sdk::testing::FaultyMachine machine;
  HungDrives hung;
  SelfTestingDrive drive;
  Disk disk;
  sdk::testing::RememberingContext context;
  std::chrono::seconds took{0};
};

class EachLanguage : public testing::TestWithParam<Language> {};

inline std::string LanguageName(const testing::TestParamInfo<Language>& info) {
  return NameOf(info.param);
}

inline auto AllLanguages() {
  return testing::Values(Language::kAta, Language::kScsi, Language::kNvme);
}

}  // namespace orvan::storage
