#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// A new folder for one test, gone with it.
class TestFolder {
 public:
  TestFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarvex-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no folder for the test";
    path_ = pattern;
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(*this / name, std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(*this / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

// An environment variable for one test.
class TestVariable {
 public:
  TestVariable(const char* name, const std::string& value) : name_(name) {
    const char* const before = std::getenv(name);
    wasSet_ = before != nullptr;
    if (wasSet_) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~TestVariable() {
    if (wasSet_) {
      setenv(name_, before_.c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  TestVariable(const TestVariable&) = delete;
  TestVariable& operator=(const TestVariable&) = delete;

 private:
  const char* name_;
  bool wasSet_ = false;
  std::string before_;
};
