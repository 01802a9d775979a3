// What a line of output costs before the system sees it.
#include <benchmark/benchmark.h>

#include <ostream>
#include <string>

#include "system/key_format.h"
#include "views/console_stream.h"

namespace {

void FormatsAKey(benchmark::State& state) {
  const std::string key =
      "WARNING_OF_|U|S|B_" + std::string(static_cast<size_t>(state.range(0)), 'X');
  for (auto _ : state) {
    benchmark::DoNotOptimize(tarvex::FormatKey(key, true, true, true));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(key.size()));
}
BENCHMARK(FormatsAKey)->Arg(16)->Arg(1024)->Arg(65536);

void WritesAConsoleLine(benchmark::State& state) {
  tarvex::ConsoleStreamBuffer buffer([](const char*, std::size_t) { return 0; });
  std::wostream stream(&buffer);
  for (auto _ : state) {
    tarvex::WriteWidened(stream, "   10% | 1 hour 2 minutes 3 seconds \r");
    tarvex::EndLine(stream);
  }
}
BENCHMARK(WritesAConsoleLine);

}  // namespace
