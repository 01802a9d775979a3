#include "tests/support/self_testing_drive.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace orvan::sdk::testing {
namespace {

using Data = std::vector<std::uint8_t>;
using Result = SelfTestingDrive::Result;

constexpr std::uint16_t kHours = 4711;
constexpr int kAbort = -1;

CommandAnswer Good(Data data = {}) {
  CommandAnswer answer;
  answer.outcome = CommandAnswer::Outcome::kAnswered;
  answer.data = std::move(data);
  return answer;
}

// CHECK CONDITION with sense data in fixed format.
CommandAnswer Condition(std::uint8_t key, std::uint8_t code, std::uint8_t qualifier = 0) {
  CommandAnswer answer = Good();
  answer.scsiStatus = 0x02;
  answer.sense = {0x70, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, qualifier, 0, 0, 0, 0};
  return answer;
}

void PutLittle(Data& data, std::size_t at, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i)
    data.at(at + i) = static_cast<std::uint8_t>(value >> 8 * i);
}

void PutBig(Data& data, std::size_t at, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    data.at(at + i) = static_cast<std::uint8_t>(value >> 8 * (size - 1 - i));
  }
}

// Makes the sum of each page 0.
Data Sealed(Data data) {
  for (std::size_t end = 512; end <= data.size(); end += 512) {
    const auto begin = data.begin() + static_cast<std::ptrdiff_t>(end - 512);
    data[end - 1] = static_cast<std::uint8_t>(0x100 - std::accumulate(begin, begin + 511, 0) % 256);
  }
  return data;
}

// The codes of the results in each standard.
std::uint8_t AtaCode(Result result) {
  constexpr std::uint8_t kCodes[] = {0x0, 0x1, 0x2, 0x7, 0xA, 0xF};
  return static_cast<std::uint8_t>(kCodes[static_cast<std::size_t>(result)] << 4);
}
std::uint8_t ScsiCode(Result result) {
  constexpr std::uint8_t kCodes[] = {0x0, 0x1, 0x2, 0x7, 0xA, 0xF};
  return kCodes[static_cast<std::size_t>(result)];
}
std::uint8_t NvmeCode(Result result) {
  constexpr std::uint8_t kCodes[] = {0x0, 0x1, 0x2, 0x7, 0xC, 0xC};
  return kCodes[static_cast<std::size_t>(result)];
}

}  // namespace

SelfTestingDrive::SelfTestingDrive(FaultyMachine& machine, Language language, Habits ofThis)
    : habits(std::move(ofThis)), machine_(machine), language_(language) {
  machine.commands.push_back(
      {{}, {}, -1, [this](const DriveCommand& command) { return AnswerTo(command); }});
}

void SelfTestingDrive::Begin(int number) {
  running_ = Running{number, machine_.now};
  if (habits.logsRunning) Write({number, Result::kRunning, kHours});
}

bool SelfTestingDrive::IsRunning() {
  Advance();
  return running_.has_value();
}

CommandAnswer SelfTestingDrive::AnswerTo(const DriveCommand& command) {
  Advance();
  if (meddle) {
    if (auto answer = meddle(command)) return *std::move(answer);
  }
  const auto* ata = std::get_if<AtaCommand>(&command.command);
  const auto* scsi = std::get_if<ScsiCommand>(&command.command);
  const auto* nvme = std::get_if<NvmeAdminCommand>(&command.command);
  CommandAnswer answer;
  if (language_ == Language::kNvme) {
    if (nvme == nullptr) return Condition(0x05, 0x20);
    answer = AnswerNvme(*nvme);
  } else if (language_ == Language::kAta) {
    answer = ata == nullptr ? Condition(0x05, 0x20) : AnswerAta(*ata);
  } else {
    answer = scsi == nullptr ? Condition(0x05, 0x20) : AnswerScsi(*scsi, command.bytesIn);
  }
  answer.data.resize(std::min<std::size_t>(answer.data.size(), command.bytesIn));
  return answer;
}

std::chrono::seconds SelfTestingDrive::TimeOf(int number) const {
  if (habits.takes) return *habits.takes;
  const std::chrono::seconds told = number == 1 ? habits.shortTime : habits.extendedTime;
  return std::max(told, std::chrono::seconds(60));
}

std::size_t SelfTestingDrive::Places() const {
  if (habits.places != 0) return habits.places;
  if (language_ != Language::kAta) return 20;
  return habits.hasExtendedLog ? 19 : 21;
}

void SelfTestingDrive::Advance() {
  if (pending_ && machine_.now >= pendingUntil_) Write(*std::exchange(pending_, std::nullopt));
  if (!running_ || habits.stopsAt) return;
  if (machine_.now - running_->begin >= TimeOf(running_->number)) End(habits.result);
}

void SelfTestingDrive::End(Result result) {
  const int number = std::exchange(running_, std::nullopt)->number;
  Entry entry{number, result, kHours};
  if (result == Result::kFailed) entry.lba = habits.failingLba;
  if (habits.logsRunning) {
    log.front() = entry;
  } else if (habits.logsAfter.count() == 0) {
    Write(entry);
  } else {
    pending_ = entry;
    pendingUntil_ = machine_.now + habits.logsAfter;
  }
}

void SelfTestingDrive::Write(Entry entry) {
  log.push_front(entry);
  if (log.size() > Places()) log.pop_back();
  newest_ = newest_ % Places() + 1;
}

int SelfTestingDrive::Percent() const {
  const auto time = machine_.now - running_->begin;
  int percent = static_cast<int>(100 * time / TimeOf(running_->number));
  percent = std::min({percent, 99, habits.stopsAt.value_or(99)});
  return habits.told ? habits.told(percent) : percent;
}

bool SelfTestingDrive::Order(int code, int abortCode) {
  if (!habits.hasSelfTests) return false;
  if (code == abortCode) {
    ++aborts;
    if (running_ && !habits.ignoresAbort) End(Result::kAborted);
    return true;
  }
  if (code != 1 && code != 2) return false;
  ++starts;
  // As ATA has it: a start ends the test that runs, and begins another.
  if (running_) End(Result::kAborted);
  if (!habits.doesNothing) Begin(code);
  return true;
}

CommandAnswer SelfTestingDrive::AnswerAta(const AtaCommand& command) {
  const auto log = static_cast<std::uint8_t>(command.lba & 0xFF);
  if (command.command == 0xEC) return Good(Identity());
  if (command.command == 0x2F && habits.hasExtendedLog) {
    if (log == 0x07) return Good(Log(true));
    if (log == 0x00) {
      Data directory(512, 0);
      directory[0] = 1;
      directory[2 * 0x07] = 1;
      return Good(std::move(directory));
    }
  }
  if (command.command != 0xB0) return Condition(0x0B, 0);
  if (command.feature == 0xD0) return Good(SmartData());
  if (command.feature == 0xD5 && log == 0x06) return Good(Log(false));
  const bool isOrder = command.feature == 0xD4 && Order(log == 0x7F ? kAbort : log, kAbort);
  return isOrder ? Good() : Condition(0x0B, 0);
}

CommandAnswer SelfTestingDrive::AnswerScsi(const ScsiCommand& command, std::uint32_t bytes) {
  const std::uint8_t page = command.cdb.at(2) & 0x3F;
  switch (command.cdb[0]) {
    case 0x03:
      return Good(SenseNow());
    case 0x1D: {
      const int code = command.cdb[1] >> 5;
      return Order(code == 4 ? kAbort : code, kAbort) ? Good() : Condition(0x05, 0x24);
    }
    case 0x4D:
      if (page == 0x00)
        return Good(habits.hasSelfTests ? Data{0, 0, 0, 2, 0x00, 0x10} : Data{0, 0, 0, 1, 0x00});
      return page == 0x10 && habits.hasSelfTests ? Good(Results()) : Condition(0x05, 0x24);
    case 0x5A: {
      Data mode(20, 0);
      mode[1] = 18;
      mode[8] = 0x0A;
      mode[9] = 10;
      PutBig(mode, 18, static_cast<std::uint64_t>(60 * habits.extendedTime.count()), 2);
      mode.resize(std::min<std::size_t>(bytes, mode.size()));
      return Good(std::move(mode));
    }
    default:
      return Condition(0x05, 0x20);
  }
}

CommandAnswer SelfTestingDrive::AnswerNvme(const NvmeAdminCommand& command) {
  CommandAnswer answer = Good();
  const int code = static_cast<int>(command.dwords[0] & 0xF);
  if (command.opcode == 0x06) return Good(Controller());
  if (command.opcode == 0x02 && (command.dwords[0] & 0xFF) == 0x06) return Good(NvmeLog());
  if (command.opcode != 0x14) {
    answer.nvmeStatus = 0x001;
  } else if (running_ && code != 0xF) {
    answer.nvmeStatus = 0x11D;  // a self-test is in progress
  } else if (!Order(code == 0xF ? kAbort : code, kAbort)) {
    answer.nvmeStatus = 0x001;
  }
  return answer;
}

Data SelfTestingDrive::Identity() const {
  Data data(512, 0);
  const auto put = [&data](std::size_t word, int value) {
    PutLittle(data, 2 * word, static_cast<std::uint64_t>(value), 2);
  };
  put(0, 0x0040);
  put(10, ('S' << 8) | 'N');
  put(27, ('M' << 8) | 'D');
  put(82, habits.hasSmart ? 0x0001 : 0x4000);
  put(83, 0x4400);
  put(84, 0x4000 | (habits.hasExtendedLog ? 0x20 : 0) |
              (habits.tellsInIdentify && habits.hasSelfTests ? 0x02 : 0));
  put(85, habits.hasSmart && habits.isSmartEnabled ? 1 : 0);
  put(86, 0x0400);
  put(87, 0x4000 | (habits.hasExtendedLog ? 0x20 : 0) |
              (habits.tellsInIdentify && habits.hasSelfTests ? 0x02 : 0));
  data[510] = 0xA5;
  return Sealed(std::move(data));
}

Data SelfTestingDrive::SmartData() const {
  Data data(512, 0);
  data[0] = 0x10;
  data[362] = 0x02;
  if (running_ && !habits.hidesRunning) {
    // In tenths that are left; what is told past the end makes no sense there either.
    data[363] = static_cast<std::uint8_t>(0xF0 | ((100 - Percent()) / 10 & 0x0F));
  } else if (habits.contradicts) {
    data[363] = 0x70;
  } else if (!running_ && !log.empty()) {
    data[363] = AtaCode(log.front().result);
  }
  data[367] = habits.hasSelfTests ? 0x51 : 0x41;
  data[372] = static_cast<std::uint8_t>(habits.shortTime.count());
  if (habits.extendedTime.count() < 255) {
    data[373] = static_cast<std::uint8_t>(habits.extendedTime.count());
  } else {
    data[373] = 0xFF;
    PutLittle(data, 375, static_cast<std::uint64_t>(habits.extendedTime.count()), 2);
  }
  return Sealed(std::move(data));
}

Data SelfTestingDrive::Log(bool isExtended) const {
  Data data(512, 0);
  data[0] = 1;
  const std::size_t first = isExtended ? 4 : 2, size = isExtended ? 26 : 24;
  PutLittle(data, isExtended ? 2 : 508, newest_, isExtended ? 2 : 1);
  for (std::size_t i = 0; i < log.size(); ++i) {
    const std::size_t at = first + (newest_ - 1 + Places() - i) % Places() * size;
    data[at] = static_cast<std::uint8_t>(log[i].number);
    data[at + 1] = AtaCode(log[i].result);
    PutLittle(data, at + 2, log[i].hours, 2);
    PutLittle(data, at + 5, log[i].lba.value_or(~std::uint64_t{0}), isExtended ? 6 : 4);
  }
  return Sealed(std::move(data));
}

Data SelfTestingDrive::Controller() const {
  Data data(4096, 0);
  data[4] = 'S';
  data[256] = habits.hasSelfTests ? 0x10 : 0x00;
  PutLittle(data, 316, static_cast<std::uint64_t>(habits.extendedTime.count()), 2);
  return data;
}

Data SelfTestingDrive::NvmeLog() const {
  Data data(564, 0);
  if (running_ && !habits.hidesRunning) {
    data[0] = static_cast<std::uint8_t>(running_->number);
    data[1] = static_cast<std::uint8_t>(Percent() & 0x7F);
  }
  for (std::size_t i = 0; i < 20; ++i) {
    const std::size_t at = 4 + 28 * i;
    if (i >= log.size()) {
      data[at] = 0x0F;
      continue;
    }
    data[at] = static_cast<std::uint8_t>(log[i].number << 4 | NvmeCode(log[i].result));
    if (log[i].result == Result::kFailed) data[at + 1] = 3;
    PutLittle(data, at + 4, log[i].hours, 8);
    if (!log[i].lba) continue;
    data[at + 2] = 0x02;
    PutLittle(data, at + 16, *log[i].lba, 8);
  }
  return data;
}

Data SelfTestingDrive::Results() const {
  Data data(404, 0);
  data[0] = 0x10;
  PutBig(data, 2, 400, 2);
  for (std::size_t i = 0; i < 20; ++i) {
    const std::size_t at = 4 + 20 * i;
    PutBig(data, at, i + 1, 2);
    data[at + 2] = 0x03;
    data[at + 3] = 16;
    if (i >= log.size()) continue;
    data[at + 4] = static_cast<std::uint8_t>(log[i].number << 5 | ScsiCode(log[i].result));
    if (log[i].result == Result::kFailed) data[at + 5] = 3;
    PutBig(data, at + 6, log[i].hours, 2);
    PutBig(data, at + 8, log[i].lba.value_or(~std::uint64_t{0}), 8);
    if (!log[i].lba) continue;
    data[at + 16] = 0x03;  // medium error
    data[at + 17] = 0x11;
  }
  return data;
}

Data SelfTestingDrive::SenseNow() const {
  Data data(18, 0);
  data[0] = 0x70;
  data[7] = 10;
  if (!running_ || habits.hidesRunning) return data;
  data[2] = 0x02;
  data[12] = 0x04;
  data[13] = 0x09;
  data[15] = 0x80;
  PutBig(data, 16, static_cast<std::uint64_t>(Percent()) * 65536 / 100 & 0xFFFF, 2);
  return data;
}

}  // namespace orvan::sdk::testing
