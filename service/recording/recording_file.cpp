#include "service/recording/recording_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <new>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include "os/only_file.h"
#include "os/regular_file.h"
#include "os/sealed_memory.h"
#include "service/recording/fields.h"

namespace orvan::recording {
namespace {

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

std::string_view TextOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

int Begin(const std::string& path, tarvex::OnlyFile& file) {
  constexpr mode_t kOwnersAlone = 0600;
  const int error = file.Open(path, tarvex::OnlyFile::Access::kReadAndAppend, kOwnersAlone);
  if (error != 0) return error;
  if (const int fault = file.Empty(); fault != 0) return fault;
  // An older file of that name may have been open to all.
  if (fchmod(file.File().Get(), kOwnersAlone) != 0) return errno;
  return file.Write(kFirstLine);
}

}  // namespace

std::string BeginRecording(const std::string& path, tarvex::Descriptor& file) {
  tarvex::OnlyFile begun;
  if (const int error = Begin(path, begun); error != 0) return ErrorText(error);
  file = begun.Release();
  return {};
}

std::string ReadRecording(const std::string& path, tarvex::Descriptor& memory) {
  errno = 0;
  const tarvex::Descriptor file = tarvex::OpenRegularFile(path, tarvex::LastLink::kFollow);
  if (!file.IsOpen()) return errno != 0 ? ErrorText(errno) : "it is no regular file";
  std::string text;
  if (!tarvex::ReadUpTo(file, kMostBytes + 1, text)) return ErrorText(errno);
  if (const int error = tarvex::MakeSealedMemory(std::as_bytes(std::span(text)), memory);
      error != 0) {
    return ErrorText(error);
  }
  text = {};
  try {
    const auto mapped = tarvex::MapSealedMemory(memory, kMostBytes + 1);
    if (!mapped) return ErrorText(ENOMEM);
    Recording::Check(TextOf(*mapped));
  } catch (const RecordingFault& fault) {
    return fault.what();
  } catch (const std::bad_alloc&) {
    return ErrorText(ENOMEM);
  }
  return {};
}

std::shared_ptr<const Recording> RecordingIn(const tarvex::Descriptor& memory,
                                             const std::string& module) {
  const auto mapped = tarvex::MapSealedMemory(memory, kMostBytes);
  if (!mapped) throw RecordingFault("the recording cannot be read");
  return std::shared_ptr<const Recording>(
      new Recording(Recording::OfModule(TextOf(*mapped), mapped, module)));
}

std::uint64_t MemoryOfReplay(const tarvex::Descriptor& memory) {
  // The file itself, and a row of a table for each line; besides, the reads of disks that are known
  // and what writers wrote.
  constexpr std::uint64_t kForEachByte = 4, kBeside = 256ULL << 20;
  struct stat status {};
  if (fstat(memory.Get(), &status) != 0) return 0;
  return kForEachByte * static_cast<std::uint64_t>(status.st_size) + kBeside;
}

}  // namespace orvan::recording
