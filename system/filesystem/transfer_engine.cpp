#include "system/filesystem/transfer_engine.h"

#include <algorithm>
#include <new>

namespace tarvex {

std::shared_ptr<TransferBuffer> TransferBuffer::Make(std::size_t size) {
  if (size > SIZE_MAX - kAlignment) return nullptr;
  const std::size_t room = std::max<std::size_t>(size, 1) + kAlignment - 1;
  auto buffer = std::make_shared<TransferBuffer>();
  buffer->bytes_.reset(
      static_cast<char*>(std::aligned_alloc(kAlignment, room / kAlignment * kAlignment)));
  buffer->size_ = size;
  return buffer->bytes_ != nullptr ? buffer : nullptr;
}

std::unique_ptr<TransferEngine> MakeTransferEngine() {
  std::unique_ptr<TransferEngine> engine = MakeUringEngine();
  return engine != nullptr ? std::move(engine) : MakeThreadEngine();
}

}  // namespace tarvex
