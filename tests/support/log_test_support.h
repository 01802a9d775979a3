#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

// Folders and logs, for the tests of the service's log and of all that writes it.
namespace orvan::log::testing {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvan-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }

 private:
  std::string path_;
};

inline std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The names in a folder, sorted.
inline std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The lines of all logs in a folder, in the order of their names, each without the sequence number
// and the timestamp in front.
inline std::vector<std::string> LogLines(const std::string& folder) {
  std::vector<std::string> lines;
  for (const std::string& name : NamesIn(folder)) {
    std::ifstream file(folder + '/' + name);
    for (std::string line; std::getline(file, line);) {
      const std::size_t time = line.find("\"timestamp\":\"");
      lines.push_back(time != std::string::npos ? line.substr(time + 39) : line);
    }
  }
  return lines;
}

// The same without the first two lines, which tell the version of the format and the run's start.
inline std::vector<std::string> LogLinesAfterStart(const std::string& folder) {
  std::vector<std::string> lines = LogLines(folder);
  lines.erase(lines.begin(),
              lines.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(lines.size(), 2)));
  return lines;
}

// The line, as LogLines gives it, of an error of the run.
inline std::string RunErrorLine(const std::string& symptom, const std::string& message) {
  return R"("testRunArtifact":{"error":{"symptom":")" + symptom + R"(","message":")" + message +
         R"("}}})";
}

}  // namespace orvan::log::testing
