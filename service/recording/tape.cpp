#include "service/recording/tape.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "os/descriptor_writer.h"
#include "service/recording/accesses.h"
#include "service/recording/recording.h"

namespace orvan::recording {
namespace {

// How old the time of the last answer may get.
constexpr std::uint64_t kLongestOld = 10000;  // in microseconds
// How much may be written between two looks at the file's length, beside other processes.
constexpr std::uint64_t kLookAgainAfter = 64U << 10;
// Left free for what other processes write until they look.
constexpr std::uint64_t kReserve = 16U << 20;

}  // namespace

Tape::Tape(Options options) : options_(std::move(options)), sinceLook_(kLookAgainAfter) {}

std::uint64_t Tape::Elapsed() const {
  const auto elapsed =
      std::chrono::duration_cast<std::chrono::microseconds>(options_.now() - options_.begin);
  return elapsed.count() > 0 ? static_cast<std::uint64_t>(elapsed.count()) : 0;
}

void Tape::AddLine(const std::string& access, const std::string& answer) {
  const std::lock_guard lock(mutex_);
  time_ = std::max(time_, Elapsed());
  looks_ = 0;
  WriteLine(access, answer);
}

Tape::Time Tape::Now() {
  const std::lock_guard lock(mutex_);
  ++looks_;
  if (const std::uint64_t now = Elapsed(); now >= time_ + kLongestOld) {
    time_ = now;
    WriteLine(kind::kNow, std::to_string(std::exchange(looks_, 0)));
  }
  return options_.begin + std::chrono::microseconds(time_);
}

// Each line in one piece, and at once: what a process that dies had read must be there.
void Tape::WriteLine(const std::string& access, const std::string& answer) {
  if (hasEnded_) return;
  const std::string line = FieldWriter(std::to_string(time_)).Text(options_.module).Line() + ' ' +
                           access + " = " + answer + '\n';
  // No replay would read it, nor tell what came after it.
  if (line.size() > kLongestLine) return End(EFBIG);
  sinceLook_ += line.size();
  if (sinceLook_ >= kLookAgainAfter) {
    struct stat status {};
    if (fstat(options_.file.Get(), &status) != 0) return End(errno);
    if (static_cast<std::uint64_t>(status.st_size) + line.size() > kMostBytes - kReserve) {
      return End(EFBIG);
    }
    sinceLook_ = 0;
  }
  if (const int error = tarvex::WriteAll(options_.file.Get(), line.data(), line.size());
      error != 0) {
    End(error);
  }
}

void Tape::End(int error) {
  hasEnded_ = true;
  if (options_.onEnded) options_.onEnded(error);
}

}  // namespace orvan::recording
