#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "os/descriptor.h"
#include "system/filesystem/transfer_engine.h"

// An open scratch file with the engine of its transfers. One thread at a time.
struct ScratchFile {
 public:
  // A null engine stands for the system's best, made when the first transfer asks for it.
  explicit ScratchFile(tarvex::Descriptor file,
                       std::unique_ptr<tarvex::TransferEngine> transferEngine = nullptr)
      : descriptor(std::move(file)), engine_(std::move(transferEngine)) {}

  // These two carry out one transfer as Filesystem::ReadFileAt and WriteFileAt tell.
  int Read(std::uint64_t offset, std::size_t size, std::size_t& done, unsigned timeoutSeconds,
           void* bytes);
  int Write(std::uint64_t offset, std::size_t size, std::size_t& done, unsigned timeoutSeconds,
            const void* bytes);

  tarvex::Descriptor descriptor;

 private:
  bool Prepare(std::size_t size);
  int Transfer(tarvex::TransferDirection direction, std::uint64_t offset, std::size_t size,
               std::size_t& done, unsigned timeoutSeconds);
  void Abandon();

  std::unique_ptr<tarvex::TransferEngine> engine_;
  // Between transfers this file's own; after one was abandoned, left to that one.
  std::shared_ptr<tarvex::TransferBuffer> buffer_;
};
