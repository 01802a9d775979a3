#include "service/modules/storage/speed_shape.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvan::storage {
namespace {

constexpr double kMib = 1U << 20;

// What a disk is by what it says and by what it does: a drive of a virtual machine says that it
// rotates and answers from memory.
enum class Kind { kRotating, kSolidState, kNeither };

// No drive with one stack of platters reads faster, and none has a random read sooner: half a turn
// at 15,000 per minute takes 2 ms alone.
constexpr double kFastestRotating = 600 * kMib;
constexpr std::chrono::milliseconds kSoonestRotating{2};

bool IsVirtual(const DiskFacts& disk) {
  static constexpr std::array<const char*, 7> kModels = {
      "QEMU", "VBOX", "VMware", "Virtual", "VIRTUAL", "Elastic Block Store", "PersistentDisk"};
  return disk.transport == Transport::kVirtio || disk.transport == Transport::kXen ||
         !disk.backingFile.empty() ||
         std::any_of(kModels.begin(), kModels.end(), [&disk](const char* model) {
           return disk.model.find(model) != std::string::npos;
         });
}

Kind KindOf(const DiskFacts& disk, const SpeedFacts& speed) {
  if (!disk.isRotating || IsVirtual(disk)) return Kind::kNeither;
  if (!*disk.isRotating) return Kind::kSolidState;
  return speed.fastest <= kFastestRotating && speed.medianRandom >= kSoonestRotating
             ? Kind::kRotating
             : Kind::kNeither;
}

struct Shape {
  Kind kind;
  double leastRatio;  // of the inner rate to the outer one
  double greatestRatio;
  double soundMibs;  // when the slower of the two reaches it nothing is wrong
};

constexpr std::array<Shape, 2> kShapes = {{
    // A track at the inner edge is about half as long as one at the outer edge and passes in the
    // same
    // time, so drives read there at 0.4 to 0.7 of their outer rate; behind a slow bus at all of it.
    // Nothing makes the inner edge faster: then the outer one is read with retries.
    {Kind::kRotating, 0.3, 1.25, 1e9},
    // Where nothing was written a drive answers without its cells, several times faster. So only a
    // region that is both far slower than another and slower than any sound cells are says
    // anything.
    {Kind::kSolidState, 0.1, 10, 50},
}};

std::string MibsKey(double rate) {
  return std::to_string(std::llround(rate / kMib)) + "_|MI|B/S";
}

std::string ShapeTrouble(const DiskFacts& disk, const SpeedFacts& speed) {
  if (!speed.outer || !speed.inner) return {};
  const Kind kind = KindOf(disk, speed);
  const auto* const shape = std::find_if(kShapes.begin(), kShapes.end(),
                                         [kind](const Shape& row) { return row.kind == kind; });
  const double ratio = *speed.inner / *speed.outer;
  if (shape == kShapes.end() || (ratio >= shape->leastRatio && ratio <= shape->greatestRatio) ||
      std::min(*speed.inner, *speed.outer) >= shape->soundMibs * kMib) {
    return {};
  }
  return "|ITS_BEGIN_READS_WITH_" + MibsKey(*speed.outer) + "_AND_ITS_END_WITH_" +
         MibsKey(*speed.inner) + ",_WHICH_NO_SOUND_DRIVE_OF_ITS_KIND_DOES";
}

}  // namespace

std::string SpeedTrouble(const DiskFacts& disk, const SpeedFacts& speed, std::uint64_t leastMibs) {
  const std::array<std::pair<const char*, std::optional<double>>, 3> regions = {
      {{"BEGIN", speed.outer}, {"MIDDLE", speed.middle}, {"END", speed.inner}}};
  for (const auto& [name, rate] : regions) {
    if (!rate && leastMibs > 0) {
      return "|TOO_LITTLE_WAS_READ_TO_TELL_WHETHER_IT_READS_WITH_" + std::to_string(leastMibs) +
             "_|MI|B/S";
    }
    if (rate && *rate < static_cast<double>(leastMibs) * kMib) {
      return std::string("|ITS_") + name + "_READS_WITH_" + MibsKey(*rate) + ",_AT_LEAST_" +
             std::to_string(leastMibs) + "_WERE_WANTED";
    }
  }
  return ShapeTrouble(disk, speed);
}

}  // namespace orvan::storage
