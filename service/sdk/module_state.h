#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvan::sdk {

// A module's own small files, which stay from run to run. A name is 1 to 128 letters, digits, "-",
// "_" and "."; it does not begin with ".". Any thread. Each returns 0 or an errno; EINVAL: a name
// that is none.
class ModuleState {
 public:
  static constexpr std::size_t kLargestBytes = 16U << 20;  // of one file
  virtual ~ModuleState() = default;
  // None when it is not there (error 0), or could not be read.
  virtual std::optional<std::string> Read(const std::string& name, int& error) const = 0;
  // In one step, and on the disk when it returns: a crash leaves the old content or the new.
  virtual int Replace(const std::string& name, const std::string& content) = 0;
  // Behind what is there, and on the disk when it returns, for a journal.
  virtual int Append(const std::string& name, const std::string& content) = 0;
  virtual int Remove(const std::string& name) = 0;              // 0, too, when there was none
  virtual std::vector<std::string> List(int& error) const = 0;  // sorted
};

}  // namespace orvan::sdk
