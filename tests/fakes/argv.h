#pragma once

#include <string>
#include <vector>

// A command line as the process gets it; the bytes stay where they are.
class Argv {
 public:
  explicit Argv(const std::vector<std::string>& words) : words_{"TarvexDiagnosticsCLI"} {
    words_.insert(words_.end(), words.begin(), words.end());
    for (std::string& word : words_) pointers_.push_back(word.data());
    pointers_.push_back(nullptr);
  }
  int Count() const { return static_cast<int>(words_.size()); }
  char** Data() { return pointers_.data(); }

 private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
};
