#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <utility>

#include "os/descriptor.h"

namespace tarvex {

enum class TransferDirection { kRead, kWrite };

// One transfer with memory of its own, aligned for every disk, that it is made into or from.
struct Transfer {
  struct Free {
    void operator()(char* memory) const { std::free(memory); }
  };
  TransferDirection direction = TransferDirection::kRead;
  Descriptor file;  // its own, open as long as the transfer lasts
  std::uint64_t offset = 0;
  std::size_t size = 0;
  std::unique_ptr<char, Free> bytes;
};

// Makes a transfer: bytes moved, or a negated errno value. Any thread.
std::int64_t MakeTransfer(Transfer& transfer);

}  // namespace tarvex

// An open scratch file. Each transfer has a thread, so that nobody needs to wait for its end: the
// system ends none that has begun, so one that timed out is left to its thread, with its memory and
// a descriptor, and the file counts as in use until it has ended. The next transfer waits for that
// within its own time, so that none overtakes another and no more than one is ever left. One thread
// at a time.
struct ScratchFile {
  // These two carry out one transfer as Filesystem::ReadFileAt and WriteFileAt tell.
  int Read(std::uint64_t offset, std::size_t size, std::size_t& done, unsigned timeoutSeconds,
           void* bytes);
  int Write(std::uint64_t offset, std::size_t size, std::size_t& done, unsigned timeoutSeconds,
            const void* bytes);

  tarvex::Descriptor descriptor;
  std::function<std::int64_t(tarvex::Transfer&)> make = tarvex::MakeTransfer;
  std::shared_future<std::int64_t> latest{};  // the result of the transfer that was started last
};
