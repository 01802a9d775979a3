#include "host/console.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "host/key_decoder.h"
#include "host/terminal.h"

namespace tarvex {
namespace {

// What the uses share.
struct Keyboard {
  std::mutex mutex;
  std::vector<const HostConsole*> uses;  // guarded by mutex
  KeyDecoder decoder;                    // guarded by mutex
};

// Never destroyed: a use may end after the static objects of this library.
Keyboard& SharedKeyboard() {
  static auto& keyboard = *new Keyboard;
  return keyboard;
}

}  // namespace

Console::Console() {
  Keyboard& keyboard = SharedKeyboard();
  const std::lock_guard lock(keyboard.mutex);
  keyboard.uses.push_back(this);
}

Console::~Console() {
  Keyboard& keyboard = SharedKeyboard();
  const std::lock_guard lock(keyboard.mutex);
  std::erase(keyboard.uses, this);
}

int Console::ReadKey() {
  Keyboard& keyboard = SharedKeyboard();
  const std::lock_guard lock(keyboard.mutex);
  KeyDecoder& decoder = keyboard.decoder;
  const auto feed = [&decoder](std::chrono::milliseconds patience) {
    std::array<unsigned char, 64> bytes;
    const std::size_t count = ReadTerminal(bytes.data(), bytes.size(), patience);
    const auto now = std::chrono::steady_clock::now();
    std::for_each_n(bytes.begin(), count, [&](unsigned char byte) { decoder.Feed(byte, now); });
  };
  // What is not needed yet stays with the terminal, which bounds it.
  if (!decoder.HasKey()) feed(std::chrono::milliseconds(0));
  // Callers may look only twice a second, so an Escape is settled now and not at the next look.
  if (decoder.IsEscapePending()) feed(KeyDecoder::kEscapeDelay);
  return decoder.Next(std::chrono::steady_clock::now());
}

void Console::TakeKeyboard() {
  const std::lock_guard lock(SharedKeyboard().mutex);
  PrepareTerminal();
}

void Console::Release(HostConsole* console) {
  {
    Keyboard& keyboard = SharedKeyboard();
    const std::lock_guard lock(keyboard.mutex);
    const auto& uses = keyboard.uses;
    if (std::find(uses.begin(), uses.end(), console) == uses.end()) return;
  }
  delete console;
}

}  // namespace tarvex
