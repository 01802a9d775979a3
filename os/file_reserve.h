#pragma once

#include <cstdint>

namespace tarvex {

// Room on the disk that a growing file holds ahead of its end, so that what has to be written last
// finds its place on a disk that fills up meanwhile. The size of the file does not show it. Where
// the file system cannot hold room, everything is as without a reserve. One thread at a time.
class FileReserve {
 public:
  // True when the first `end` bytes of the file have their room, or when nobody can tell. False
  // when there is none: on a full disk, beyond a quota, and beyond the process's limit of file
  // sizes. Asks the disk for 64 KiB at once, as far as there is so much.
  bool Hold(int file, std::uint64_t end);
  // Gives back what is held behind the first `size` bytes, which are all of the file. May wait for
  // the disk to take the file's last bytes.
  void GiveBack(int file, std::uint64_t size);
  // The same after a truncation to that size, which has given it back already.
  void Forget(std::uint64_t size);

 private:
  bool Ask(int file, std::uint64_t end);

  std::uint64_t held_ = 0;  // bytes from the start of the file
  bool isAble_ = true;
};

}  // namespace tarvex
