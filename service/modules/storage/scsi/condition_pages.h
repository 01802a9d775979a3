#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

// Log pages about the condition of a drive. What it does not tell is none. Pure; any thread.
namespace orvan::storage::scsi {

// Page 0Dh. In degrees Celsius; 0 stands for all below it, too.
// Source: SPC-5, 7.3, table "Temperature log page".
struct Temperatures {
  std::optional<std::uint8_t> now;
  std::optional<std::uint8_t> reference;  // the highest at which it works without interruption
};
Decoded<Temperatures> DecodeTemperatures(Bytes answer);

// Page 0Eh.
// Source: SPC-5, 7.3, table "Start-Stop Cycle Counter log page".
struct StartStopCounts {
  std::string yearMade;  // "2014", and the week "34" in it; empty: not told
  std::string weekMade;
  std::optional<std::uint32_t> startsExpected;  // over the drive's life
  std::optional<std::uint32_t> starts;
  std::optional<std::uint32_t> loadsExpected;
  std::optional<std::uint32_t> loads;
};
Decoded<StartStopCounts> DecodeStartStopCounts(Bytes answer);

// Page 11h: how much of its life a drive without moving parts has used, in percent; more than 100
// when it outlives what its maker thought.
// Source: SBC-4, 6.4, table "Percentage Used Endurance Indicator log parameter".
Decoded<std::uint8_t> DecodePercentageUsed(Bytes answer);

// Page 2Fh.
// Source: SPC-5, 7.3, table "Informational exceptions general log parameter".
struct InformationalExceptions {
  std::uint8_t code = 0;  // additional sense code of what is pending; 0: nothing is
  std::uint8_t qualifier = 0;
  std::optional<std::uint8_t> temperature;  // degrees Celsius
};
Decoded<InformationalExceptions> DecodeInformationalExceptions(Bytes answer);

}  // namespace orvan::storage::scsi
