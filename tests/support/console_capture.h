#pragma once

#include <string>
#include <utility>

#include "views/console_stream.h"

namespace tarvex {

// For tests: a console stream that keeps what is printed.
class ConsoleCapture : public ConsoleStream {
 public:
  ConsoleCapture()
      : ConsoleStream([this](const char* data, std::size_t size) {
          if (failure_ == 0) text_.append(data, size);
          return failure_;
        }) {}
  // While the text is still there.
  ~ConsoleCapture() override { rdbuf()->pubsync(); }

  // What was flushed so far, as UTF-8.
  const std::string& Flushed() const { return text_; }
  // All that was printed since the last Take, flushed or not.
  std::string Take() {
    rdbuf()->pubsync();
    return std::exchange(text_, {});
  }
  // From now on every write fails with this errno value.
  void FailWith(int error) { failure_ = error; }

 private:
  std::string text_;
  int failure_ = 0;
};

}  // namespace tarvex
