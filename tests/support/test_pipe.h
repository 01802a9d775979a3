#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>

#include "os/descriptor.h"

// A pipe for one test.
class TestPipe {
 public:
  TestPipe() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) ADD_FAILURE() << "no pipe for the test";
    reading = tarvex::Descriptor(ends[0]);
    writing = tarvex::Descriptor(ends[1]);
  }
  // Fills it to the brim.
  void Fill() const {
    fcntl(writing.Get(), F_SETFL, O_NONBLOCK);
    while (write(writing.Get(), "x", 1) == 1) {
    }
    fcntl(writing.Get(), F_SETFL, 0);
  }
  // Takes that many bytes at most, those that are there.
  std::string Take(std::size_t size) const {
    std::string text(size, '\0');
    const ssize_t count = read(reading.Get(), text.data(), size);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
  }

  tarvex::Descriptor reading;
  tarvex::Descriptor writing;
};

// Reads until the other side has closed, at most a minute.
inline std::string ReadToEnd(int descriptor) {
  std::string text;
  std::array<char, 4096> chunk{};
  pollfd waiting{descriptor, POLLIN, 0};
  while (poll(&waiting, 1, 60'000) == 1) {
    const ssize_t count = read(descriptor, chunk.data(), chunk.size());
    if (count <= 0) return text;
    text.append(chunk.data(), static_cast<std::size_t>(count));
  }
  ADD_FAILURE() << "nothing came";
  return text;
}
