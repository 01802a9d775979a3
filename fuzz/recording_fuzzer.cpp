#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "service/recording/fields.h"
#include "service/recording/recording.h"
#include "service/recording/replay_machine.h"

namespace {

using orvan::recording::Recording;

// Asks a replayed machine for whatever its recording tells of.
void AskForAll(const std::shared_ptr<const Recording>& recording) {
  const auto machine = orvan::recording::MakeReplayMachine({recording, "storage", 1});
  for (const Recording::Line& line : recording->LinesOf("storage")) {
    orvan::recording::FieldReader access(line.access);
    const std::string kind = access.Text();
    const std::string path = access.IsAtEnd() ? std::string() : access.Text();
    machine->Files().ReadBytes(path, 4096);
    machine->Files().List(path);
    machine->Files().ReadLink(path);
    machine->Now();
    machine->Chance();
    if (kind != "open-reader") continue;
    orvan::sdk::BlockReaderOptions options;
    options.device = path;
    const auto opened = machine->OpenReader(options, {});
    if (!opened.reader) continue;
    opened.reader->Submit({{1, 0, opened.reader->Geometry().logicalSectorBytes, 0}});
    std::vector<orvan::sdk::BlockReadResult> results;
    opened.reader->Collect(results, std::chrono::milliseconds(1));
    if (results.size() > 1) std::abort();
  }
}

}  // namespace

// Any bytes are a recording or a fault with its line, never anything else; what stands behind the
// last line's end changes nothing; and a machine of it answers whatever it is asked.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const std::shared_ptr<const Recording> recording(new Recording(Recording::Parse(text)));
    const std::size_t end = text.rfind('\n');
    const auto whole = Recording::Parse(text.substr(0, end + 1) + "cut off");
    if (recording->LinesOf("storage").size() != whole.LinesOf("storage").size()) std::abort();
    AskForAll(recording);
  } catch (const orvan::recording::RecordingFault& fault) {
    if (!std::string_view(fault.what()).starts_with("line ")) std::abort();
  }
  return 0;
}
