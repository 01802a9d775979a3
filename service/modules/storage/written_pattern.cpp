#include "service/modules/storage/written_pattern.h"

#include <algorithm>
#include <array>
#include <bit>

namespace orvan::storage {
namespace {

constexpr std::uint64_t kMagic = 0x4554495257585654;  // on the disk: TVXWRITE
constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::size_t kHeadWords = kSectorHeadBytes / kWord;
// A sector of which no more than one bit in so many is wrong is the right one, damaged. Of foreign
// bytes half of the bits are.
constexpr std::uint64_t kDamagedShare = 4;

using Head = std::array<std::uint64_t, kHeadWords>;

// Source: Sebastiano Vigna, splitmix64, in the public domain: https://prng.di.unimi.it/splitmix64.c
constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15;
constexpr std::uint64_t Mixed(std::uint64_t value) {
  value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
  value = (value ^ value >> 27) * 0x94D049BB133111EB;
  return value ^ value >> 31;
}

void Store(std::uint64_t word, std::byte* at) {
  for (std::size_t i = 0; i < kWord; ++i) at[i] = static_cast<std::byte>(word >> (8 * i));
}

std::uint64_t Load(const std::byte* at) {
  std::uint64_t word = 0;
  for (std::size_t i = kWord; i > 0; --i) word = word << 8 | static_cast<std::uint64_t>(at[i - 1]);
  return word;
}

std::uint64_t SumOf(const Head& head) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i + 1 < kHeadWords; ++i) sum = Mixed(sum + head[i] + kStep);
  return sum;
}

// Of two passes that are each other's reverse: the even one, and the size of a sector.
Head HeadOf(const SectorName& name, std::size_t sectorBytes) {
  const std::uint64_t evenPass = name.pass & ~std::uint32_t{1};
  Head head = {kMagic, name.run, evenPass << 32 | sectorBytes, name.lba, 0};
  head.back() = SumOf(head);
  return head;
}

void FillSector(const SectorName& name, std::span<std::byte> sector) {
  const std::uint64_t turn = name.pass % 2 == 0 ? 0 : ~std::uint64_t{0};
  const Head head = HeadOf(name, sector.size());
  for (std::size_t i = 0; i < kHeadWords; ++i) Store(head[i] ^ turn, sector.data() + i * kWord);
  std::uint64_t state = head.back();
  for (std::size_t at = kSectorHeadBytes; at + kWord <= sector.size(); at += kWord) {
    Store(Mixed(state += kStep) ^ turn, sector.data() + at);
  }
}

bool IsAll(std::span<const std::byte> bytes, std::byte value) {
  return std::all_of(bytes.begin(), bytes.end(), [value](std::byte one) { return one == value; });
}

SectorFinding BitsOf(std::span<const std::byte> right, std::span<const std::byte> found) {
  SectorFinding finding{SectorKind::kBits};
  for (std::size_t i = 0; i < found.size(); ++i) {
    const auto wrong = std::popcount(static_cast<unsigned>(right[i] ^ found[i]));
    if (wrong != 0 && finding.wrongBits == 0) finding.firstWrongByte = i;
    finding.wrongBits += static_cast<std::uint64_t>(wrong);
  }
  if (finding.wrongBits > found.size() * 8 / kDamagedShare) finding.kind = SectorKind::kForeign;
  return finding;
}

}  // namespace

void FillSectors(const SectorName& first, std::size_t sectorBytes, std::span<std::byte> sectors) {
  SectorName name = first;
  for (std::size_t at = 0; at + sectorBytes <= sectors.size(); at += sectorBytes, ++name.lba) {
    FillSector(name, sectors.subspan(at, sectorBytes));
  }
}

std::optional<SectorName> NameIn(std::span<const std::byte> sector) {
  if (sector.size() < kSectorHeadBytes) return {};
  Head head{};
  for (std::size_t i = 0; i < kHeadWords; ++i) head[i] = Load(sector.data() + i * kWord);
  const bool isTurned = head[0] == ~kMagic;
  if (isTurned) {
    for (std::uint64_t& word : head) word = ~word;
  }
  const std::uint64_t size = head[2] & 0xFFFFFFFF;
  if (head[0] != kMagic || size != sector.size() || head.back() != SumOf(head)) return {};
  const auto pass = static_cast<std::uint32_t>(head[2] >> 32);
  return SectorName{head[1], isTurned ? pass + 1 : pass, head[3]};
}

bool MayBeData(std::span<const std::byte> sector) {
  return !IsAll(sector, std::byte{0}) && !IsAll(sector, std::byte{0xFF}) && !NameIn(sector);
}

SectorFinding JudgeSector(const SectorName& name, std::span<const std::byte> right,
                          std::span<const std::byte> found) {
  if (std::equal(right.begin(), right.end(), found.begin(), found.end())) return {};
  if (IsAll(found, std::byte{0})) return {SectorKind::kZeros};
  if (IsAll(found, std::byte{0xFF})) return {SectorKind::kOnes};
  const std::optional<SectorName> other = NameIn(found);
  if (!other || *other == name) return BitsOf(right, found);
  if (other->run != name.run) return {SectorKind::kOtherRun, *other};
  if (other->lba != name.lba) return {SectorKind::kOtherAddress, *other};
  return {SectorKind::kOtherPass, *other};
}

}  // namespace orvan::storage
