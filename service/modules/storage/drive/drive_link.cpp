#include "service/modules/storage/drive/drive_link.h"

#include <cerrno>
#include <utility>

#include "service/modules/storage/ata/identify.h"
#include "service/modules/storage/drive/answer_kinds.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using Outcome = sdk::CommandAnswer::Outcome;

// What a bridge does that knows neither the command nor how to refuse it. Registers that make no
// sense are a habit of some that are sound otherwise.
bool IsImpolite(const DriveAnswer& answer, Outcome outcome, int error) {
  const bool isBroken =
      outcome == Outcome::kRefused && answer.kind == Kind::kNotNow && error != EBUSY;
  return isBroken || (answer.kind == Kind::kGarbage && !answer.registers);
}

// Nothing of the command was done, and it would be another time.
bool IsWorthRepeating(const DriveAnswer& answer) {
  return answer.sense &&
         (answer.sense->isDeferred || answer.sense->key == scsi::SenseKey::kUnitAttention);
}

// Whether such an answer to IDENTIFY DEVICE says that there is no ATA drive to be reached so.
bool MeansNoAta(Kind kind) {
  return kind == Kind::kNotSupported || kind == Kind::kFailed || kind == Kind::kGarbage;
}

// A text that a drive may have in its identity; AtaText marks what is none.
bool IsPlausible(const std::string& text) {
  return !text.empty() && text.find(kNoCharacter) == std::string::npos;
}

}  // namespace

const char* WhySpeechless(Transport transport) {
  switch (transport) {
    case Transport::kVirtio:
    case Transport::kXen:
      return "the disk of a virtual machine answers no commands of a drive";
    case Transport::kLoop:
      return "a file answers no commands of a drive";
    case Transport::kMmc:
      return "the commands of a memory card are others";
    case Transport::kUnknown:
      return "nothing tells what commands this drive answers";
    case Transport::kSata:
    case Transport::kScsi:
    case Transport::kSas:
    case Transport::kUsb:
    case Transport::kNvme:
      break;
  }
  return nullptr;
}

DriveLink::DriveLink(const DriveAccess& access, const DiskFacts& facts, std::stop_token stop)
    : access_(access), facts_(facts), stop_(std::move(stop)) {
  address_.device = facts_.devicePath;
  address_.deviceNumber = facts_.deviceNumber;
  address_.diskSequence = facts_.diskSequence;
  if (const auto reason = access_.hung->ReasonOf(facts_)) {
    opening_ = Told(Kind::kTimedOut, *reason);
    return;
  }
  Open();
}

void DriveLink::Open() {
  if (const char* words = WhySpeechless(facts_.transport)) {
    opening_ = Told(Kind::kNotSupported, words);
    return;
  }
  if (facts_.transport == Transport::kSata) return OpenAta();
  if (facts_.transport != Transport::kNvme) return OpenBehindScsi();
  protocol_ = DriveProtocol::kNvme;
  opening_ = Told(Kind::kDone, {});
  const auto number = access_.machine->Files().ReadNumber(facts_.folder + "/nsid");
  // Source: NVM Express Base 2.0, 3.2.1.2: 0 and FFFFFFFFh name no namespace of their own.
  if (number && *number > 0 && *number < 0xFFFFFFFF) {
    address_.namespaceId = static_cast<std::uint32_t>(*number);
  }
}

void DriveLink::OpenAta() {
  protocol_ = DriveProtocol::kAta;
  opening_ = Identify(false);
}

void DriveLink::OpenBehindScsi() {
  const sdk::MachineFiles& files = access_.machine->Files();
  const bool isUsb = facts_.transport == Transport::kUsb;
  protocol_ = DriveProtocol::kScsi;
  opening_ = Told(Kind::kDone, {});
  // Sticks and card readers are no bridges, and some hang at what they do not know.
  if (isUsb && files.ReadText(facts_.folder + "/removable") != "0") {
    whyNotAta_ = "the medium can be taken out of the drive";
    return;
  }
  // Source: SAT-4, 8.1.3: what speaks for an ATA drive has this for its maker's name.
  if (!isUsb && files.ReadText(facts_.folder + "/device/vendor") != "ATA") return;
  DriveAnswer identity = Identify(false);
  if (isUsb && MeansNoAta(identity.kind)) identity = Identify(true);
  if (identity.IsDone()) {
    protocol_ = DriveProtocol::kAta;
    opening_ = std::move(identity);
    return;
  }
  whyNotAta_ = identity.reason;
  if (whyClosed_.empty() && MeansNoAta(identity.kind)) return;
  protocol_ = DriveProtocol::kNone;
  opening_ = std::move(identity);
}

DriveAnswer DriveLink::Identify(bool uses12Bytes) {
  address_.uses12Bytes = uses12Bytes;
  const DriveCommandRow& row = RowOf(DriveRequest::kAtaIdentify);
  DriveAnswer answer = Carry(row, {});
  if (!answer.IsDone()) return answer;
  const auto identity = ata::DecodeIdentify(answer.data);
  std::string trouble = identity.trouble;
  if (identity.value) {
    // Some bridges leave in their buffer what was there before.
    const bool isTrusted =
        identity.value->isChecked || protocol_ == DriveProtocol::kAta ||
        (IsPlausible(identity.value->model) && IsPlausible(identity.value->serial));
    if (isTrusted) return answer;
    trouble = "neither a checksum nor a serial number shows that a drive has answered";
  }
  return Told(Kind::kGarbage, std::string(row.name) + ": " + trouble);
}

std::optional<DriveAnswer> DriveLink::WhyNotSent(const DriveCommandRow& row) const {
  if (stop_.stop_requested() && !row.isSentAfterStop)
    return Told(Kind::kCanceled, "it was stopped");
  if (const auto reason = access_.hung->ReasonOf(facts_)) return Told(Kind::kTimedOut, *reason);
  if (!whyClosed_.empty()) return Told(Kind::kNotSupported, whyClosed_);
  return {};
}

DriveAnswer DriveLink::Send(DriveRequest request, const RequestDetails& details) {
  const DriveCommandRow& row = RowOf(request);
  if (row.Protocol() == protocol_) return Carry(row, details);
  if (!opening_.IsDone()) return opening_;
  return Told(Kind::kNotTried, std::string(row.name) + ": the drive speaks another language");
}

DriveAnswer::Kind DriveLink::KindOfNonsense() const {
  return facts_.transport == Transport::kUsb ? Kind::kNotSupported : Kind::kGarbage;
}

void DriveLink::ObeyInstead(std::stop_token stop) {
  lastStop_ = stop;
  stop_ = std::move(stop);
}

DriveAnswer DriveLink::Carry(const DriveCommandRow& row, const RequestDetails& details) {
  if (auto answer = WhyNotSent(row)) return *std::move(answer);
  const auto command = MakeCommand(row, details, address_);
  if (!command) {
    const auto* ata = std::get_if<AtaShape>(&row.shape);
    const bool isTooLong = ata != nullptr && ata->is48Bit && address_.uses12Bytes;
    return Told(isTooLong ? Kind::kNotSupported : Kind::kNotTried,
                std::string(row.name) + (isTooLong ? ": the USB bridge passes no such commands on"
                                                   : ": it does not fit together"));
  }
  DriveAnswer answer = CarryOnce(row, details, *command);
  if (answer.kind != Kind::kNotNow || !IsWorthRepeating(answer)) return answer;
  return CarryOnce(row, details, *command);
}

DriveAnswer DriveLink::CarryOnce(const DriveCommandRow& row, const RequestDetails& details,
                                 const sdk::DriveCommand& command) {
  sdk::CommandAnswer raw = access_.machine->Send(command, row.isSentAfterStop ? lastStop_ : stop_);
  const Outcome outcome = raw.outcome;
  const int error = raw.error;
  DriveAnswer answer = MeaningOf(row, BytesOf(row, details), std::move(raw));
  if (answer.kind == Kind::kTimedOut) {
    access_.hung->Add(facts_, answer.reason + ", and is left alone since");
  }
  if (facts_.transport != Transport::kUsb) return answer;
  if (IsImpolite(answer, outcome, error)) {
    answer.reason += "; the USB bridge is asked no further";
    whyClosed_ = answer.reason;
  }
  // It is the bridge that answers so, which says nothing about the drive.
  if (answer.kind == Kind::kGarbage || !whyClosed_.empty()) answer.kind = KindOfNonsense();
  return answer;
}

}  // namespace orvan::storage
