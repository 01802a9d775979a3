#pragma once

#include <string>

#include "service/modules/storage/drive/drive_answer.h"

// What an answer means by the rules of each protocol. What comes back has no data yet, and its
// reason does not name the command. Any thread.
namespace orvan::storage {

// A kind and its reason.
DriveAnswer Told(DriveAnswer::Kind kind, std::string reason);

// A command that its drive or driver does not know: a failure of one that each drive has.
DriveAnswer Unknown(const DriveCommandRow& row, std::string reason);

DriveAnswer AtaMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer);
DriveAnswer ScsiMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer);
DriveAnswer NvmeMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer);

// Of a command that ended with CHECK CONDITION and this sense.
DriveAnswer SenseMeaning(const DriveCommandRow& row, const scsi::Sense& sense);

// Of a status other than GOOD and CHECK CONDITION; none when it is one of these.
std::optional<DriveAnswer> StatusMeaning(std::uint8_t status);

}  // namespace orvan::storage
