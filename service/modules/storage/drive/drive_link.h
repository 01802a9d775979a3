#pragma once

#include <stop_token>
#include <string>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/drive/drive_answer.h"
#include "service/modules/storage/drive/drive_commands.h"
#include "service/modules/storage/drive/hung_drives.h"
#include "service/sdk/machine.h"

namespace orvan::storage {

// What every link needs, and is there longer than any.
struct DriveAccess {
  sdk::Machine* machine = nullptr;
  HungDrives* hung = nullptr;
};

// Why drives that are reached so answer no commands at all, for people; null: they may. Any thread.
const char* WhySpeechless(Transport transport);

// The way to one drive, and what its answers mean. It finds out by itself by which commands the
// drive is spoken to, and sends IDENTIFY DEVICE for that where there may be an ATA drive, twice at
// most. A USB bridge that refuses without a reason, answers too little, or breaks a command off is
// asked no further by this link, and a drive that runs into a time limit by none. One thread.
class DriveLink {
 public:
  DriveLink(const DriveAccess& access, const DiskFacts& facts, std::stop_token stop);

  // kNone when it cannot be spoken to at all; Opening() says why.
  DriveProtocol Protocol() const { return protocol_; }
  // kDone when the drive can be spoken to, with the data of IDENTIFY DEVICE of an ATA drive; else
  // why not, and each command that is sent nevertheless comes to its own end.
  const DriveAnswer& Opening() const { return opening_; }
  // Why a drive that is spoken to by SCSI commands is not by those of ATA, as plain text; empty:
  // nothing says that it is an ATA drive.
  const std::string& WhyNotAta() const { return whyNotAta_; }

  // What an answer is that cannot be the drive's: garbage, and behind a USB bridge, which may have
  // made it up, nothing that the drive would have said.
  DriveAnswer::Kind KindOfNonsense() const;

  // Carries out a request of this link's protocol. Waits as long as its row says and a little, and
  // ends at once after a stop, but for the end of a self-test. A drive that was reset, or reports
  // what an earlier command did, gets it a second time.
  DriveAnswer Send(DriveRequest request, const RequestDetails& details = {});
  // From now on this token ends what is sent, and no other: for what is left to do after a stop,
  // the end of a self-test too.
  void ObeyInstead(std::stop_token stop);

 private:
  void Open();
  void OpenAta();
  void OpenBehindScsi();
  // Asks for IDENTIFY DEVICE; what is no drive's identity is garbage.
  DriveAnswer Identify(bool uses12Bytes);
  DriveAnswer Carry(const DriveCommandRow& row, const RequestDetails& details);
  // The same without a look at what may be sent.
  DriveAnswer CarryOnce(const DriveCommandRow& row, const RequestDetails& details,
                        const sdk::DriveCommand& command);
  std::optional<DriveAnswer> WhyNotSent(const DriveCommandRow& row) const;

  DriveAccess access_;
  DiskFacts facts_;
  std::stop_token stop_;
  std::stop_token lastStop_;  // of the end of a self-test; at first no stop ends that
  DriveAddress address_;
  DriveProtocol protocol_ = DriveProtocol::kNone;
  DriveAnswer opening_;
  std::string whyNotAta_;
  std::string whyClosed_;  // why a bridge is asked no further; empty: it is
};

}  // namespace orvan::storage
