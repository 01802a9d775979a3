#include "companions/manual/page.h"

#include <sstream>
#include <stdexcept>

namespace tarvex::manual {
namespace {

constexpr char kMark = '@';

std::string WithWords(const std::string& line, const std::map<std::string, std::string>& words) {
  std::string result;
  for (std::size_t pos = 0; pos < line.size();) {
    const std::size_t begin = line.find(kMark, pos);
    const std::size_t end = begin == std::string::npos ? begin : line.find(kMark, begin + 1);
    if (end == std::string::npos) return result + line.substr(pos);
    const auto word = words.find(line.substr(begin + 1, end - begin - 1));
    if (word == words.end()) throw std::runtime_error("no word for: " + line);
    result += line.substr(pos, begin - pos) + word->second;
    pos = end + 1;
  }
  return result;
}

class PageMaker {
 public:
  explicit PageMaker(const PageParts& parts) : parts_(parts) {}

  std::string Run(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) Take(line);
    for (const auto& [key, note] : notes_) {
      if (!note.used) throw std::runtime_error("nothing has the note " + key);
    }
    return page_;
  }

 private:
  void Take(const std::string& line) {
    std::istringstream words(line);
    std::string directive;
    std::string name;
    words >> directive;
    if (directive == "@end") {
      note_ = nullptr;
    } else if (note_ != nullptr) {
      note_->text += WithWords(line, parts_.words) + "\n";
    } else if (directive == "@note") {
      words >> name;
      note_ = &notes_[name];
      std::getline(words >> std::ws, note_->argument);
    } else if (directive == "@section") {
      words >> name;
      const auto section = parts_.sections.find(name);
      if (section == parts_.sections.end()) throw std::runtime_error("no section " + name);
      page_ += section->second(notes_);
    } else {
      page_ += WithWords(line, parts_.words) + "\n";
    }
  }

  const PageParts& parts_;
  std::string page_;
  std::map<std::string, Note> notes_;
  Note* note_ = nullptr;  // the one that is being read
};

}  // namespace

std::string MakePage(const std::string& text, const PageParts& parts) {
  return PageMaker(parts).Run(text);
}

}  // namespace tarvex::manual
