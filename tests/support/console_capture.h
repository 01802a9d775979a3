#pragma once

#include <string>

#include "views/console_stream.h"

namespace tarvex {

// For tests: while it lives, the console stream writes here instead of descriptor 1.
class ConsoleCapture {
 public:
  ConsoleCapture()
      : buffer_([this](const char* data, std::size_t size) {
          if (failure_ != 0) {
            return failure_;
          }
          text_.append(data, size);
          return 0;
        }) {
    ConsoleStream().flush();
    previous_ = ConsoleStream().rdbuf(&buffer_);
  }
  ~ConsoleCapture() { ConsoleStream().rdbuf(previous_); }
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  // What was flushed so far, as UTF-8.
  const std::string& Flushed() const { return text_; }
  // All that was printed since the last Take, flushed or not.
  std::string Take() {
    buffer_.pubsync();
    std::string taken;
    taken.swap(text_);
    return taken;
  }
  // From now on every write fails with this errno value.
  void FailWith(int error) { failure_ = error; }

 private:
  std::string text_;
  int failure_ = 0;
  ConsoleStreamBuffer buffer_;
  std::wstreambuf* previous_ = nullptr;
};

}  // namespace tarvex
