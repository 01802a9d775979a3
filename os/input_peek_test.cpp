#include "os/input_peek.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <semaphore>
#include <string_view>
#include <thread>
#include <vector>

namespace tarvex {
namespace {

constexpr int kNotAtAll = 0;
constexpr int kForever = -1;

// What one Take gives: a byte's value, or what Take returned instead of a number of bytes.
int TakeOne(InputPeek& peek, int timeoutMs) {
  unsigned char byte = 0;
  const int count = peek.Take(&byte, 1, timeoutMs);
  return count == 1 ? byte : count;
}

// Both ends of a channel.
struct Channel {
  std::array<int, 2> ends{-1, -1};

  ~Channel() {
    Close(0);
    Close(1);
  }
  void Close(std::size_t end) {
    if (ends[end] >= 0) {
      close(ends[end]);
      ends[end] = -1;
    }
  }
  void Say(std::string_view bytes) const {
    ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
};

TEST(InputPeek, TakesTheBytesOfAPipeOneByOne) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  InputPeek peek(channel.ends[0]);
  EXPECT_EQ(TakeOne(peek, kNotAtAll), kNoByteWaiting);
  channel.Say("a\xFF");
  EXPECT_EQ(TakeOne(peek, kForever), 'a');
  EXPECT_EQ(TakeOne(peek, kForever), 255);
  EXPECT_EQ(TakeOne(peek, 1), kNoByteWaiting);
}

TEST(InputPeek, WaitsForAByteThatIsStillToCome) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  InputPeek peek(channel.ends[0]);
  std::thread writer([&channel] { channel.Say("x"); });
  EXPECT_EQ(TakeOne(peek, kForever), 'x');
  writer.join();
}

TEST(InputPeek, TakesTheBytesOfASocket) {
  Channel channel;
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel.ends.data()), 0);
  InputPeek peek(channel.ends[0]);
  channel.Say("a");
  EXPECT_EQ(TakeOne(peek, kForever), 'a');
  channel.Close(1);
  EXPECT_EQ(TakeOne(peek, kForever), kInputClosed);
}

TEST(InputPeek, GivesWhatIsLeftBeforeTheEnd) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  InputPeek peek(channel.ends[0]);
  channel.Say("z");
  channel.Close(1);
  EXPECT_EQ(TakeOne(peek, kForever), 'z');
  EXPECT_EQ(TakeOne(peek, kForever), kInputClosed);
  // From here on it only waits.
  EXPECT_EQ(TakeOne(peek, 1), kNoByteWaiting);
}

TEST(InputPeek, WakeEndsTheWaitOnce) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  InputPeek peek(channel.ends[0]);
  std::thread waker([&peek] { peek.Wake(); });
  EXPECT_EQ(TakeOne(peek, kForever), kNoByteWaiting);
  waker.join();
  channel.Say("b");
  EXPECT_EQ(TakeOne(peek, kForever), 'b');
}

// Two readers of one input wait for its next byte, which one of them takes. What the other one
// gets, woken: no byte, or a second one that had to be sent to end its wait.
int TakeAgainstAFasterReader(const Channel& channel) {
  std::array<InputPeek, 2> readers{InputPeek(channel.ends[0]), InputPeek(channel.ends[0])};
  std::array<int, 2> got{};
  std::counting_semaphore returned(0);
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < readers.size(); ++i) {
    threads.emplace_back([&readers, &got, &returned, i] {
      got[i] = TakeOne(readers[i], kForever);
      returned.release();
    });
  }
  channel.Say("a");
  returned.acquire();
  for (InputPeek& reader : readers) reader.Wake();
  if (!returned.try_acquire_for(std::chrono::seconds(10))) channel.Say("b");
  threads.clear();
  return got[0] == 'a' ? got[1] : got[0];
}

// Thousands of tries, on a machine that is not busy.
void ExpectNoByteAgainstAFasterReader(const Channel& channel) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  do {
    ASSERT_EQ(TakeAgainstAFasterReader(channel), kNoByteWaiting);
  } while (std::chrono::steady_clock::now() < end);
}

TEST(InputPeek, AFasterReaderOfTheSamePipeDoesNotHoldThisOne) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  ExpectNoByteAgainstAFasterReader(channel);
}

TEST(InputPeek, AFasterReaderOfTheSameSocketDoesNotHoldThisOne) {
  Channel channel;
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel.ends.data()), 0);
  ExpectNoByteAgainstAFasterReader(channel);
}

TEST(InputPeek, TheInputIsLeftAsItWas) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  const int before = fcntl(channel.ends[0], F_GETFL);
  {
    InputPeek peek(channel.ends[0]);
    EXPECT_EQ(TakeOne(peek, kNotAtAll), kNoByteWaiting);
    EXPECT_EQ(fcntl(channel.ends[0], F_GETFL), before);
  }
  EXPECT_EQ(fcntl(channel.ends[0], F_GETFL), before);
}

TEST(InputPeek, TakesAllThatIsThereUpToTheCapacity) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  InputPeek peek(channel.ends[0]);
  channel.Say("abcde");
  std::array<unsigned char, 3> bytes{};
  EXPECT_EQ(peek.Take(bytes.data(), bytes.size(), kForever), 3);
  EXPECT_EQ(bytes, (std::array<unsigned char, 3>{'a', 'b', 'c'}));
  EXPECT_EQ(peek.Take(bytes.data(), bytes.size(), kForever), 2);
  EXPECT_EQ(bytes, (std::array<unsigned char, 3>{'d', 'e', 'c'}));
}

TEST(InputPeek, RestTakesNothingAndWakeEndsIt) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  InputPeek peek(channel.ends[0]);
  channel.Say("a");
  const auto start = std::chrono::steady_clock::now();
  peek.Rest(50);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
  peek.Wake();
  peek.Rest(kForever);
  EXPECT_EQ(TakeOne(peek, kNotAtAll), 'a');
}

TEST(InputPeek, APipeThatIsOnlyWrittenHasNoBytes) {
  Channel channel;
  ASSERT_EQ(pipe2(channel.ends.data(), O_CLOEXEC), 0);
  channel.Say("a");
  InputPeek peek(channel.ends[1]);
  EXPECT_EQ(TakeOne(peek, kNotAtAll), kNoByteWaiting);
  InputPeek reader(channel.ends[0]);
  EXPECT_EQ(TakeOne(reader, kNotAtAll), 'a');
}

TEST(InputPeek, OtherKindsOfInputHaveNoBytes) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  std::fputs("aaa", file);
  std::rewind(file);
  const int device = open("/dev/zero", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(device, 0);
  for (const int descriptor : {fileno(file), device, -1}) {
    InputPeek peek(descriptor);
    EXPECT_EQ(TakeOne(peek, 1), kNoByteWaiting) << descriptor;
    peek.Wake();
    EXPECT_EQ(TakeOne(peek, kForever), kNoByteWaiting) << descriptor;
  }
  close(device);
  std::fclose(file);
}

}  // namespace
}  // namespace tarvex
