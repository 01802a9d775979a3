// The messages that the fuzzers of the workers' protocol begin with, made from the lists of fields:
// of each kind one with all that it can hold and one with nothing, and some that are none.
//
//   message_corpus FOLDER          fails when a file there is not what it would be today
//   message_corpus --write FOLDER  writes them
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>

#include "service/protocol/codec.h"
#include "service/protocol/from_worker.h"
#include "service/protocol/to_worker.h"

namespace {

using namespace orvan::protocol;

// Stands where a reader would, and gives each field a value of its own.
class FieldFiller {
 public:
  template <typename Number>
  requires std::is_arithmetic_v<Number>
  void Value(Number& value) { value = static_cast<Number>(++last_); }
  void Flag(bool& flag) { flag = true; }
  template <typename Choice>
  void OneOf(Choice& choice, Choice last) {
    choice = last;
  }
  void Text(std::string& text) {
    const std::string number = std::to_string(++last_);
    text = std::string(4 - number.size(), 't') + number;
  }
  void Words(std::string& text) { Text(text); }
  template <std::size_t kSize>
  void Bytes(std::array<char, kSize>& bytes) {
    bytes.fill('b');
  }
  template <typename Element, typename Each>
  void Elements(std::vector<Element>& list, Each each) {
    list.resize(2);
    for (Element& element : list) each(*this, element);
  }
  template <typename Each>
  void Elements(std::map<std::string, std::string>& map, Each each) {
    std::vector<std::pair<std::string, std::string>> pairs;
    Elements(pairs, each);
    map.insert(pairs.begin(), pairs.end());
  }
  template <typename Content, typename Each>
  void Perhaps(std::optional<Content>& content, Each each) {
    each(*this, content.emplace());
  }

 private:
  int last_ = 0;
};

// The kinds of each direction, in their order.
constexpr std::array kToWorker{"hello", "scan",          "run_test", "run_tool",      "tool_answer",
                               "stop",  "system_events", "ping",     "tell_resources"};
constexpr std::array kFromWorker{
    "ready",    "refused",        "found",           "scanned",     "test_ended",      "tool_ended",
    "threw",    "device_missing", "progress",        "measured",    "logged",          "tool_set",
    "tool_get", "tool_fire",      "tool_withdraw",   "tool_failed", "recording_ended", "pong",
    "crashed",  "out_of_memory",  "measured_series", "resources",   "resources_told"};
static_assert(kToWorker.size() == std::variant_size_v<ToWorker>);
static_assert(kFromWorker.size() == std::variant_size_v<FromWorker>);

using Corpus = std::map<std::string, std::string>;  // what is in the files, by their names

template <typename Any, typename Message>
std::string BytesOf(const Message& message) {
  const std::optional<GrowingBytes> bytes = Encode<Any>(message);
  if (!bytes) return {};
  return {reinterpret_cast<const char*>(bytes->Bytes().data()), bytes->Bytes().size()};
}

template <typename Any, std::size_t kKind = 0, typename Names>
void AddKinds(const Names& names, Corpus& corpus) {
  if constexpr (kKind < std::variant_size_v<Any>) {
    using Message = std::variant_alternative_t<kKind, Any>;
    Message message;
    corpus[std::string(names[kKind]) + "_empty"] = BytesOf<Any>(message);
    FieldFiller filler;
    Message::Pass(filler, message);
    // So that no version has the files of another.
    if constexpr (requires { message.version; }) message.version = kVersion;
    corpus[names[kKind]] = BytesOf<Any>(message);
    AddKinds<Any, kKind + 1>(names, corpus);
  }
}

// The same bytes but for those from `at` on; counted from the end when it is negative.
std::string Patched(std::string bytes, std::ptrdiff_t at, std::string_view patch) {
  const auto place =
      static_cast<std::size_t>(at < 0 ? static_cast<std::ptrdiff_t>(bytes.size()) + at : at);
  return bytes.replace(place, patch.size(), patch);
}

std::span<const std::byte> AsBytes(const std::string& bytes) {
  return std::as_bytes(std::span(bytes.data(), bytes.size()));
}

std::string WithoutLast(std::string bytes) {
  bytes.pop_back();
  return bytes;
}

constexpr std::string_view kMuch("\xff\xff\xff\x7f", 4);
// Behind the kind and the request.
constexpr std::ptrdiff_t kFirstField = 4 + 8;

Corpus ForWorker() {
  Corpus corpus;
  AddKinds<ToWorker>(kToWorker, corpus);
  return corpus;
}

Corpus NoneForWorker() {
  Corpus all = ForWorker();
  const std::string& hello = all["hello"];
  const auto keyTwice = [&hello] {
    const Hello said = std::get<Hello>(*Decode<ToWorker>(AsBytes(hello)));
    const auto at = hello.find(said.settings.rbegin()->first);
    return Patched(hello, static_cast<std::ptrdiff_t>(at), said.settings.begin()->first);
  };
  return {
      {"nothing", {}},
      {"cut", all["hello"].substr(0, 3)},
      {"kind_that_is_none", std::string("\x09\0\0\0", 4)},
      {"one_byte_more", all["ping"] + 'x'},
      {"hello_with_a_key_twice", keyTwice()},
      {"hello_without_its_end", WithoutLast(hello)},
      {"run_tool_with_a_flag_that_is_none",
       Patched(all["run_tool_empty"], kFirstField + 4 + 4, "\2")},
      {"stop_for_no_reason_of_ours", Patched(all["stop"], kFirstField, "\4")},
      {"run_test_of_half_a_device", WithoutLast(all["run_test"])},
      {"tool_answer_with_a_count_that_cannot_come",
       Patched(all["tool_answer_empty"], kFirstField + 1, kMuch)},
  };
}

Corpus ForProgram() {
  Corpus corpus;
  AddKinds<FromWorker>(kFromWorker, corpus);
  return corpus;
}

Corpus NoneForProgram() {
  Corpus all = ForProgram();
  return {
      {"nothing", {}},
      {"kind_that_is_none", std::string("\x17\0\0\0", 4)},
      {"one_byte_more", all["pong"] + 'x'},
      {"text_longer_than_the_rest", Patched(all["tool_get_empty"], kFirstField, "\1")},
      {"count_that_cannot_come", Patched(all["tool_set_empty"], -4, kMuch)},
      // The list of limits ends with a choice and a number of eight bytes.
      {"measured_with_a_limit_that_is_none", Patched(all["measured"], -12, "\6")},
      {"logged_at_no_level", Patched(all["logged"], kFirstField, "\3")},
      {"found_with_a_flag_that_is_none", Patched(all["found"], kFirstField, "\2")},
      {"found_without_its_end", WithoutLast(all["found"])},
      {"crashed_without_its_last_frame", WithoutLast(all["crashed"])},
  };
}

template <typename Any>
bool IsMessage(const std::string& bytes) {
  return Decode<Any>(AsBytes(bytes)).has_value();
}

// Says what does not hold of the folder; true when all does.
template <typename Any>
bool Check(const std::filesystem::path& folder, const Corpus& messages, const Corpus& none) {
  bool good = true;
  const auto expect = [&good](bool holds, const std::string& what) {
    if (!holds) std::printf("%s\n", what.c_str());
    good = good && holds;
  };
  Corpus all = messages;
  all.insert(none.begin(), none.end());
  expect(all.size() == messages.size() + none.size(), "two of a name");
  for (const auto& [name, bytes] : all) {
    expect(IsMessage<Any>(bytes) == messages.contains(name), name + " is no message, or is one");
    std::ifstream file(folder / name, std::ios::binary);
    const std::string found{std::istreambuf_iterator<char>(file), {}};
    expect(file.is_open() && found == bytes,
           (folder / name).string() + " is of another protocol; message_corpus --write makes it");
  }
  return good;
}

void Write(const std::filesystem::path& folder, const Corpus& corpus) {
  for (const auto& [name, bytes] : corpus) {
    std::ofstream(folder / name, std::ios::binary) << bytes;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool writes = argc == 3 && std::string_view(argv[1]) == "--write";
  if (argc != 2 && !writes) return 2;
  const std::filesystem::path root = argv[argc - 1];
  const std::filesystem::path toWorker = root / "to_worker_fuzzer";
  const std::filesystem::path fromWorker = root / "from_worker_fuzzer";
  if (writes) {
    for (const Corpus& each : {ForWorker(), NoneForWorker()}) Write(toWorker, each);
    for (const Corpus& each : {ForProgram(), NoneForProgram()}) Write(fromWorker, each);
  }
  const bool isGood = Check<ToWorker>(toWorker, ForWorker(), NoneForWorker());
  return Check<FromWorker>(fromWorker, ForProgram(), NoneForProgram()) && isGood ? 0 : 1;
}
