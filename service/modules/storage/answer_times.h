#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>

namespace orvan::storage {

// How long a disk took for each read, without the time in which it was busy with others.
//
// A disk that has several reads answers them one after the other, or several at once, and nobody
// outside can tell which. So a read's own time begins when the disk was given it, or when the last
// read before it was answered, whichever came later. Of a disk that serves one after the other that
// is just the time for this read; one that overtakes a slow read leaves the slow one its whole
// time. It is never more than the read really took, and of reads that are slow together the first
// one counts.
class OwnTimes {
 public:
  using Duration = std::chrono::nanoseconds;

  // The answer to read `id`; ids rise in the order in which reads were handed over, and answers
  // come in the order in which they ended. `oldest`: no read with a lower id is outstanding.
  Duration OnAnswer(std::uint64_t id, Duration begun, Duration ended, std::uint64_t oldest);
  // How many answers are remembered: no more than reads were outstanding at once, however many
  // came.
  std::size_t Remembered() const { return ended_.size(); }

 private:
  // When reads ended, by id. An answer to an earlier read that came later hides one to a later
  // read.
  std::map<std::uint64_t, Duration> ended_;
};

}  // namespace orvan::storage
