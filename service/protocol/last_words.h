#pragma once

#include <array>
#include <cstdint>

#include "service/protocol/fields.h"

// What a worker says before it ends in a way that nobody asked for.
namespace orvan::protocol {

// A place in the code. Where the library is not known, `offset` is the address itself.
struct Frame {
  std::array<char, kLibraryNameBytes> library{};  // ends with a zero byte when it is shorter
  std::uint64_t offset = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Bytes(self.library);
    fields.Value(self.offset);
  }
};

// The last word of a worker that a fatal signal ends. Of fixed size, for its signal handler.
struct Crashed {
  std::int32_t signal = 0;
  std::uint64_t address = 0;  // that could not be reached, for the signals that know one
  std::uint32_t count = 0;    // of frames
  std::array<Frame, kMostFrames> frames{};

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.signal);
    fields.Value(self.address);
    fields.Value(self.count);
    for (auto& frame : self.frames) Frame::Pass(fields, frame);
  }
};

// The last word of a worker that grew past its limit.
struct OutOfMemory {
  std::uint64_t residentBytes = 0;
  std::uint64_t limitBytes = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.residentBytes);
    fields.Value(self.limitBytes);
  }
};

}  // namespace orvan::protocol
