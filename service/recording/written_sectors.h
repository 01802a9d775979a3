#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <unordered_map>
#include <utility>

namespace orvan::recording {

// What a writer last wrote to each sector, of so many bytes at most; then the oldest are forgotten,
// in a recorded run and in its replay alike. `Content` is what is kept of a sector. One thread.
template <typename Content>
class WrittenSectors {
 public:
  static constexpr std::size_t kMostBytes = 16U << 20;
  using Make = std::function<Content(std::span<const std::byte> sector)>;

  WrittenSectors(std::uint32_t sectorBytes, Make make)
      : sectorBytes_(sectorBytes), make_(std::move(make)) {}

  void Write(std::uint64_t offset, std::span<const std::byte> data) {
    ForEach(offset, data.size(), [&](std::uint64_t sector, std::size_t at) {
      const auto [place, isNew] =
          sectors_.insert_or_assign(sector, make_(data.subspan(at, sectorBytes_)));
      if (isNew) order_.push_back(sector);
      return true;
    });
    while (order_.size() > kMostBytes / sectorBytes_) {
      sectors_.erase(order_.front());
      order_.pop_front();
      hasForgotten_ = true;
    }
  }

  // Whether a sector that is not known may be one of those that are no longer.
  bool HasForgotten() const { return hasForgotten_; }

  // Of a write that may have done anything there.
  void Forget(std::uint64_t offset, std::size_t size) {
    ForEach(offset, size, [&](std::uint64_t sector, std::size_t) {
      sectors_.erase(sector);
      return true;
    });
  }

  // Calls `take` with the content of each sector and its place in the range, while it says true;
  // false as well when one of them is not known.
  template <typename Take>
  bool Each(std::uint64_t offset, std::size_t size, Take take) const {
    return ForEach(offset, size, [&](std::uint64_t sector, std::size_t at) {
      const auto found = sectors_.find(sector);
      return found != sectors_.end() && take(found->second, at);
    });
  }

 private:
  template <typename Do>
  bool ForEach(std::uint64_t offset, std::size_t size, Do once) const {
    if (offset % sectorBytes_ != 0 || size % sectorBytes_ != 0) return false;
    for (std::size_t at = 0; at < size; at += sectorBytes_) {
      if (!once(offset / sectorBytes_ + at / sectorBytes_, at)) return false;
    }
    return true;
  }

  const std::uint32_t sectorBytes_;
  const Make make_;
  std::unordered_map<std::uint64_t, Content> sectors_;
  std::deque<std::uint64_t> order_;  // in which they were first written; some were forgotten since
  bool hasForgotten_ = false;
};

}  // namespace orvan::recording
