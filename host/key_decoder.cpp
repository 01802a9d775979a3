#include "host/key_decoder.h"

#include "boundary/hostlayer_console.h"

namespace tarvex {
namespace {

constexpr unsigned char kEscapeByte = 0x1B;
constexpr unsigned char kDeleteByte = 0x7F;
constexpr int kBackspace = 8;

bool IsParameterOrIntermediate(unsigned char byte) {
  return byte >= 0x20 && byte <= 0x3F;
}
bool IsFinal(unsigned char byte) {
  return byte >= 0x40 && byte <= 0x7E;
}

}  // namespace

void KeyDecoder::Feed(unsigned char byte, TimePoint now) {
  switch (state_) {
    case State::kGround:
      FeedGround(byte, now);
      return;
    case State::kEscape:
      FeedAfterEscape(byte, now);
      return;
    default:
      FeedSequence(byte, now);
  }
}

int KeyDecoder::Next(TimePoint now) {
  if (keys_.empty() && EscapeIsDue(now)) {
    state_ = State::kGround;
    return kKeyEscape;
  }
  if (keys_.empty()) return kNoKey;
  const int key = keys_.front();
  keys_.pop_front();
  return key;
}

void KeyDecoder::FeedGround(unsigned char byte, TimePoint now) {
  if (byte == kEscapeByte) {
    state_ = State::kEscape;
    escapeTime_ = now;
    return;
  }
  state_ = State::kGround;
  keys_.push_back(byte == kDeleteByte ? kBackspace : byte);
}

void KeyDecoder::FeedAfterEscape(unsigned char byte, TimePoint now) {
  // Nobody may have looked at the keyboard since the ESC. What begins a sequence is taken for the
  // rest of one even then: an arrow key must never pass for Escape.
  if (byte == '[') {
    state_ = State::kControlStart;
  } else if (byte == 'O') {
    state_ = State::kShiftedFunction;
  } else if (EscapeIsDue(now)) {
    keys_.push_back(kKeyEscape);
    FeedGround(byte, now);
  } else if (byte == kEscapeByte) {
    escapeTime_ = now;
  } else {
    state_ = State::kGround;
  }
}

void KeyDecoder::FeedSequence(unsigned char byte, TimePoint now) {
  if (state_ == State::kControlStart && byte == '[') {
    state_ = State::kConsoleFunction;
  } else if (IsFinal(byte)) {
    state_ = State::kGround;
  } else if (!IsParameterOrIntermediate(byte) || state_ == State::kConsoleFunction) {
    FeedGround(byte, now);
  } else if (state_ == State::kControlStart) {
    state_ = State::kControlSequence;
  }
}

bool KeyDecoder::EscapeIsDue(TimePoint now) const {
  return state_ == State::kEscape && now - escapeTime_ >= kEscapeDelay;
}

}  // namespace tarvex
