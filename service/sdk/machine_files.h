#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvan::sdk {

// A read-only view of the files below one root: the live machine, or one captured from it. Every
// fact from /sys, /proc and /run comes through here, so a capture stands in for the machine.
// Paths are absolute ("/sys/block") and follow symbolic links unless said otherwise. Any thread.
class MachineFiles {
 public:
  virtual ~MachineFiles() = default;

  // The number that a text of decimal digits is; none when it is anything else, or does not fit.
  static std::optional<std::uint64_t> ParseNumber(const std::string& text);

  // Each of these sets `error`, where one is given, to the errno of why it could not look, and to
  // 0 when it could. That there is no such thing is an answer, and so is a device that says that it
  // has no such value.

  // The first `limit` bytes of a regular file; none when it is not there or cannot be read.
  std::optional<std::string> ReadBytes(const std::string& path, std::size_t limit,
                                       int* error = nullptr) const;
  // Up to `size` bytes of a regular file from `offset` on, without what lies before them: a
  // device's registers may be slow to read. Fewer behind the end of the file; none as ReadBytes.
  std::optional<std::string> ReadAt(const std::string& path, std::uint64_t offset, std::size_t size,
                                    int* error = nullptr) const;
  // The target of a symbolic link as it is stored; none when `path` is no link. Only the last
  // component is not followed.
  std::optional<std::string> ReadLink(const std::string& path, int* error = nullptr) const;
  // The names in a folder, sorted, without "." and ".."; empty when it cannot be listed.
  std::vector<std::string> List(const std::string& path, int* error = nullptr) const;
  // False, too, when it cannot be looked at.
  bool Exists(const std::string& path, int* error = nullptr) const;

  // The text of a small attribute (at most 4096 bytes) without blanks, line ends and zero bytes at
  // its ends; empty when it cannot be read.
  std::string ReadText(const std::string& path) const;
  // A decimal attribute; none when it is missing or anything but digits that fit.
  std::optional<std::uint64_t> ReadNumber(const std::string& path) const;
  // The path without links, "." and ".."; empty when a link cannot be followed (ELOOP: more than
  // 40). Components that do not exist stay as they are.
  std::string Resolve(const std::string& path, int* error = nullptr) const;

 private:
  // What the public operations of these names do; `error` comes in as 0.
  virtual std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                                 int& error) const = 0;
  // Where a part cannot be read by itself, it is cut from what DoReadBytes gives.
  virtual std::optional<std::string> DoReadAt(const std::string& path, std::uint64_t offset,
                                              std::size_t size, int& error) const;
  virtual std::optional<std::string> DoReadLink(const std::string& path, int& error) const = 0;
  virtual std::vector<std::string> DoList(const std::string& path, int& error) const = 0;
  virtual bool DoExists(const std::string& path, int& error) const = 0;
};

}  // namespace orvan::sdk
