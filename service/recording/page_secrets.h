#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "service/recording/secrets.h"
#include "service/sdk/drive_command.h"

// Secrets in pages that drives and firmware give as bytes. Each operation puts stand-ins in their
// places, and changes nothing else but a checksum over them. A page that is cut is taken as far as
// it goes. Any thread.
namespace orvan::recording {

using Page = std::span<std::uint8_t>;

// Of a file whose name says that it is such a page; false when it is none.
bool HideInPageFile(Secrets& secrets, const std::string& path, std::string& content);

// Whether a file holds tables of firmware, whose secrets stand where only their rows tell.
bool IsFirmwarePage(const std::string& path);

// Of an answer that is told (DataOfCommand).
void HideInAnswer(Secrets& secrets, const sdk::DriveCommand& command, Page data);

}  // namespace orvan::recording
