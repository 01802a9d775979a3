#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "service/protocol/fields.h"

// Messages as bytes: the number of the kind, which is its place in the variant of one direction,
// and its fields.
namespace orvan::protocol {

namespace detail {

template <typename Message, typename Any, std::size_t kAt = 0>
constexpr std::uint32_t KindOf() {
  static_assert(kAt < std::variant_size_v<Any>, "no message of that direction");
  if constexpr (std::is_same_v<Message, std::variant_alternative_t<kAt, Any>>) {
    return kAt;
  } else {
    return KindOf<Message, Any, kAt + 1>();
  }
}

template <typename Any, std::size_t kAt = 0>
bool DecodeKind(std::uint32_t kind, FieldReader& fields, Any& message) {
  if constexpr (kAt < std::variant_size_v<Any>) {
    if (kind != kAt) return DecodeKind<Any, kAt + 1>(kind, fields, message);
    auto& made = message.template emplace<kAt>();
    std::remove_cvref_t<decltype(made)>::Pass(fields, made);
    return fields.IsDone();
  } else {
    return false;
  }
}

}  // namespace detail

// Writes a message into a store. False when it holds more than a message may.
template <typename Any, typename Message, typename Store>
bool EncodeInto(Store& store, const Message& message) {
  FieldWriter<Store> fields(store);
  fields.Value(detail::KindOf<Message, Any>());
  Message::Pass(fields, message);
  return fields.IsGood();
}

// The message's bytes; none when it holds more than a message may. Any thread.
template <typename Any, typename Message>
std::optional<GrowingBytes> Encode(const Message& message) {
  GrowingBytes bytes;
  if (!EncodeInto<Any>(bytes, message)) return std::nullopt;
  return bytes;
}

// None when the bytes are no message of that direction. Any thread.
template <typename Any>
std::optional<Any> Decode(std::span<const std::byte> bytes) {
  FieldReader fields(bytes);
  std::uint32_t kind = 0;
  fields.Value(kind);
  Any message;
  if (!detail::DecodeKind(kind, fields, message)) return std::nullopt;
  return message;
}

}  // namespace orvan::protocol
