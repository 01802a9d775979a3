#pragma once

#include <chrono>
#include <deque>

namespace tarvex {

// Turns the bytes of a terminal into key codes.
//
//  - A byte that begins no sequence is a key of its own, with the byte as its code (so a character
//    past ASCII arrives as the bytes of its encoding). The exception is DEL, which is what the
//    Backspace key sends: its code is that of a backspace, 8.
//  - A lone ESC is kKeyEscape once kEscapeDelay has passed and nothing has followed it.
//  - "ESC [" and "ESC O" with what follows up to the final byte are one key, and so is ESC with
//    another byte (a key held with Alt). Such keys have no code: they are skipped. A sequence is
//    never given up for its age, since the bytes of one key may arrive in two reads that are far
//    apart; a byte that can't belong to it ends it and counts for itself.
//  - ESC ESC: the first does not count, the second is looked at again.
//
// Not for concurrent use.
// Source: ECMA-48 section 5.4 (control sequences); console_codes(4) for "ESC [ [ A"; Debian Policy
// section 9.8 for the Backspace key.
class KeyDecoder {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  static constexpr std::chrono::milliseconds kEscapeDelay{50};

  // Takes one byte that was read at that time. Times never go back.
  void Feed(unsigned char byte, TimePoint now);
  // Takes the next key's code, kNoKey when there is none yet.
  int Next(TimePoint now);
  // A key is there whatever the time.
  bool HasKey() const { return !keys_.empty(); }
  // An ESC came last, and only what follows within kEscapeDelay tells whether it is a key.
  bool IsEscapePending() const { return keys_.empty() && state_ == State::kEscape; }

 private:
  enum class State {
    kGround,
    kEscape,           // after ESC
    kControlStart,     // after "ESC ["
    kControlSequence,  // in a control sequence, before its final byte
    kShiftedFunction,  // after "ESC O", before its final byte
    kConsoleFunction,  // after "ESC [ [": one byte more
  };

  void FeedGround(unsigned char byte, TimePoint now);
  void FeedAfterEscape(unsigned char byte, TimePoint now);
  void FeedSequence(unsigned char byte, TimePoint now);
  bool EscapeIsDue(TimePoint now) const;

  State state_ = State::kGround;
  TimePoint escapeTime_;  // meaningful in kEscape
  std::deque<int> keys_;
};

}  // namespace tarvex
