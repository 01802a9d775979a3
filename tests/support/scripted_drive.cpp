// A drive that answers commands by a script, served over FUSE: one file "drive" in a mount folder.
//
//   scripted_drive MOUNT_FOLDER
//
// Commands come as lines on standard input, and each is answered by a line on standard output;
// bytes are hexadecimal digits, "-" for none:
//
//   sg STATUS HOST DRIVER RESID SENSE_LENGTH SENSE DATA   what SG_IO answers from now on
//   nvme STATUS RESULT DATA   what NVME_IOCTL_ADMIN_CMD answers from now on
//   errno ERRNO               each of them fails so
//   hang                      each of them waits until "resume" or the end, then goes on
//   resume
//   last                      the last command: "sg CDB DIRECTION LENGTH TIMEOUT DATA", or "nvme
//                             OPCODE NSID LENGTH TIMEOUT DWORD10 to DWORD15 DATA", or "none"
//
// It ends, and takes the mount away, when standard input is closed.
#define FUSE_USE_VERSION 312

#include <fuse.h>
#include <linux/nvme_ioctl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/served_file.h"

namespace {

constexpr char kFilePath[] = "/drive";
using Bytes = std::vector<unsigned char>;

std::string Hex(const Bytes& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  return text.empty() ? "-" : text;
}

Bytes FromHex(const std::string& text) {
  Bytes bytes;
  for (std::size_t i = 0; text != "-" && i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

// Guarded by its mutex; FUSE threads and the command thread.
struct Script {
  std::mutex mutex;
  std::condition_variable changed;
  bool hangs = false;
  int error = 0;
  unsigned status = 0, host = 0, driver = 0, senseLength = 0;
  int resid = 0;
  Bytes sense;
  Bytes data;
  int nvmeStatus = 0;
  std::uint32_t nvmeResult = 0;
  Bytes nvmeData;
  std::string last = "none";
} script;

// The memory of the process that sends the command.
Bytes Take(std::uint64_t address, std::size_t size) {
  Bytes bytes(size);
  iovec ours{bytes.data(), size};
  iovec theirs{reinterpret_cast<void*>(address), size};
  const ssize_t got = process_vm_readv(fuse_get_context()->pid, &ours, 1, &theirs, 1, 0);
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

void Give(std::uint64_t address, const void* from, std::size_t size) {
  iovec ours{const_cast<void*>(from), size};
  iovec theirs{reinterpret_cast<void*>(address), size};
  if (size != 0) process_vm_writev(fuse_get_context()->pid, &ours, 1, &theirs, 1, 0);
}

std::uint64_t AddressOf(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

int AnswerSg(std::uint64_t address) {
  sg_io_hdr_t header{};
  const Bytes raw = Take(address, sizeof(header));
  if (raw.size() != sizeof(header)) return -EFAULT;
  std::memcpy(&header, raw.data(), sizeof(header));
  const bool isOut = header.dxfer_direction == SG_DXFER_TO_DEV;
  script.last = "sg " + Hex(Take(AddressOf(header.cmdp), header.cmd_len)) + ' ' +
                std::to_string(header.dxfer_direction) + ' ' + std::to_string(header.dxfer_len) +
                ' ' + std::to_string(header.timeout) + ' ' +
                Hex(isOut ? Take(AddressOf(header.dxferp), header.dxfer_len) : Bytes());
  if (script.error != 0) return -script.error;
  Give(AddressOf(header.sbp), script.sense.data(),
       std::min<std::size_t>(script.sense.size(), header.mx_sb_len));
  if (!isOut) {
    Give(AddressOf(header.dxferp), script.data.data(),
         std::min<std::size_t>(script.data.size(), header.dxfer_len));
  }
  header.status = static_cast<unsigned char>(script.status);
  header.host_status = static_cast<unsigned short>(script.host);
  header.driver_status = static_cast<unsigned short>(script.driver);
  header.resid = script.resid;
  header.sb_len_wr = static_cast<unsigned char>(script.senseLength);
  Give(address, &header, sizeof(header));
  return 0;
}

int AnswerNvme(nvme_admin_cmd& command) {
  const bool isOut = (command.opcode & 1) != 0;
  script.last = "nvme " + std::to_string(command.opcode) + ' ' + std::to_string(command.nsid) +
                ' ' + std::to_string(command.data_len) + ' ' + std::to_string(command.timeout_ms);
  for (const std::uint32_t dword :
       {command.cdw10, command.cdw11, command.cdw12, command.cdw13, command.cdw14, command.cdw15}) {
    script.last += ' ' + std::to_string(dword);
  }
  script.last += ' ' + Hex(isOut ? Take(command.addr, command.data_len) : Bytes());
  if (script.error != 0) return -script.error;
  if (!isOut) {
    Give(command.addr, script.nvmeData.data(),
         std::min<std::size_t>(script.nvmeData.size(), command.data_len));
  }
  command.result = script.nvmeResult;
  return script.nvmeStatus;
}

int Ioctl(const char* /*path*/, unsigned command, void* argument, fuse_file_info* /*info*/,
          unsigned /*flags*/, void* data) {
  std::unique_lock lock(script.mutex);
  script.changed.wait(lock, [] { return !script.hangs; });
  // SG_IO carries no size in its number, so the kernel copies nothing for it.
  if (command == SG_IO) return AnswerSg(AddressOf(argument));
  if (command == static_cast<unsigned>(NVME_IOCTL_ADMIN_CMD)) {
    return AnswerNvme(*static_cast<nvme_admin_cmd*>(data));
  }
  return -ENOTTY;
}

int GetAttributes(const char* path, struct stat* out, fuse_file_info* /*info*/) {
  *out = {};
  const bool isRoot = std::strcmp(path, "/") == 0;
  if (!isRoot && std::strcmp(path, kFilePath) != 0) return -ENOENT;
  out->st_mode = isRoot ? S_IFDIR | 0700 : S_IFREG | 0600;
  out->st_nlink = 1;
  return 0;
}

int Open(const char* path, fuse_file_info* /*info*/) {
  return std::strcmp(path, kFilePath) == 0 ? 0 : -ENOENT;
}

std::string Obey(const std::string& line) {
  std::istringstream words(line);
  std::string what, sense, data;
  words >> what;
  const std::lock_guard lock(script.mutex);
  if (what == "last") return std::exchange(script.last, "none");
  if (what == "sg") {
    words >> script.status >> script.host >> script.driver >> script.resid >> script.senseLength >>
        sense >> data;
    script.sense = FromHex(sense);
    script.data = FromHex(data);
  } else if (what == "nvme") {
    words >> script.nvmeStatus >> script.nvmeResult >> data;
    script.nvmeData = FromHex(data);
  } else if (what == "errno") {
    words >> script.error;
  } else if (what == "hang" || what == "resume") {
    script.hangs = what == "hang";
    script.changed.notify_all();
  } else {
    return "error unknown command";
  }
  return words.fail() ? "error bad arguments" : "ok";
}

// Runs until standard input ends; then lets every command go and asks FUSE to stop.
void TakeCommands(fuse* server, std::string mountFolder) {
  std::cout << "ready" << std::endl;
  for (std::string line; std::getline(std::cin, line);) std::cout << Obey(line) << std::endl;
  Obey("resume");
  fuse_exit(server);
  // A request wakes the serving thread, so that it sees the end at once.
  [[maybe_unused]] const int ignored = access((mountFolder + "/wake").c_str(), F_OK);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: scripted_drive MOUNT_FOLDER\n";
    return 2;
  }
  fuse_operations operations{};
  operations.getattr = GetAttributes;
  operations.open = Open;
  operations.ioctl = Ioctl;
  return ServeFile(operations, arguments[0], arguments[1], 16, TakeCommands);
}
