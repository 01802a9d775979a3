#include "service/modules/storage/unnamed_data.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "service/modules/storage/written_pattern.h"
#include "service/sdk/read_errors.h"

namespace orvan::storage {
namespace {

using sdk::TransferResult;
using Kind = DataLook::Kind;

constexpr std::uint64_t kPlaces = 256;
constexpr std::uint64_t kEndBytes = 1U << 20;

Kind KindOf(const TransferResult& result) {
  using Outcome = TransferResult::Outcome;
  switch (result.outcome) {
    case Outcome::kTimedOut:
      return Kind::kHung;
    case Outcome::kStopped:
      return Kind::kStopped;
    case Outcome::kFailed:
      return sdk::MeansGone(result.error) ? Kind::kVanished : Kind::kUnreadable;
    case Outcome::kDone:
    case Outcome::kNotTried:
      break;
  }
  return Kind::kOwnFault;
}

class Look {
 public:
  Look(sdk::BlockWriter& writer, std::stop_token stop)
      : writer_(writer), stop_(std::move(stop)), bytes_(kLookBytes) {}

  DataLook All() {
    const std::uint64_t size = writer_.Geometry().sizeBytes;
    const std::uint64_t end = std::min(kEndBytes, size);
    const std::uint64_t step = std::max<std::uint64_t>(size / kPlaces, kLookBytes);
    for (std::uint64_t at = 0; at < size && !found_; at += step) Read(at, kLookBytes);
    Read(size - end, end);
    Read(0, end);
    return found_.value_or(DataLook{});
  }

 private:
  // Of whole sectors around there.
  void Read(std::uint64_t from, std::uint64_t bytes) {
    const std::uint64_t sector = writer_.Geometry().logicalSectorBytes;
    const std::uint64_t size = writer_.Geometry().sizeBytes / sector * sector;
    const std::uint64_t end = std::min(size, from + bytes);
    for (std::uint64_t at = from / sector * sector; at < end && !found_; at += kLookBytes) {
      if (stop_.stop_requested()) {
        found_ = DataLook{Kind::kStopped, at / sector, 0};
        return;
      }
      const auto part = std::span(bytes_).first(std::min<std::uint64_t>(kLookBytes, size - at));
      const TransferResult result = writer_.Read(at, part);
      if (result.IsDone()) {
        Judge(at / sector, part, sector);
      } else {
        found_ = DataLook{KindOf(result), at / sector, result.error};
      }
    }
  }

  void Judge(std::uint64_t lba, std::span<const std::byte> part, std::uint64_t sector) {
    for (std::size_t at = 0; at < part.size() && !found_; at += sector, ++lba) {
      if (MayBeData(part.subspan(at, sector))) found_ = DataLook{Kind::kData, lba, 0};
    }
  }

  sdk::BlockWriter& writer_;
  std::stop_token stop_;
  std::vector<std::byte> bytes_;
  std::optional<DataLook> found_;
};

}  // namespace

DataLook LookForData(sdk::BlockWriter& writer, std::stop_token stop) {
  return Look(writer, std::move(stop)).All();
}

}  // namespace orvan::storage
