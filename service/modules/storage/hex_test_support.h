#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvan::storage {

// Bytes written as hexadecimal digits with blanks between them: "12 34". "00*480" is 480 of them,
// "'AB C'" the characters between the quotes, and what follows a "#" in a line is a remark.
inline std::vector<std::uint8_t> FromHex(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    while (words >> std::ws && !words.eof()) {
      if (words.peek() == '\'') {
        std::string characters;
        words.get();
        std::getline(words, characters, '\'');
        bytes.insert(bytes.end(), characters.begin(), characters.end());
        continue;
      }
      std::string word;
      words >> word;
      const std::size_t star = word.find('*');
      const std::size_t times = star == std::string::npos ? 1 : std::stoul(word.substr(star + 1));
      if (word.find_first_not_of("0123456789abcdefABCDEF*") != std::string::npos ||
          word.substr(0, star).size() != 2) {
        throw std::invalid_argument("no byte: " + word);
      }
      bytes.insert(bytes.end(), times, static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
    }
  }
  return bytes;
}

// Those of a file in testdata, such as "scsi/self_tests.hex".
inline std::vector<std::uint8_t> FromHexFile(const std::string& name) {
  const std::string path = TARVEX_SOURCE_DIR "/service/modules/storage/testdata/" + name;
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  return FromHex({std::istreambuf_iterator<char>(file), {}});
}

}  // namespace orvan::storage
