// The plug-ins of the loader's tests: one source, one fault each.

#include <fstream>
#include <future>
#include <stdexcept>

#include "service/sdk/descriptor.h"
#include "service/sdk/rows.h"

#if defined(PLUGIN_TAKEN_LETTER)
#define PLUGIN_OPTION "v"
#elif defined(PLUGIN_SCANNER_LETTER)
#define PLUGIN_OPTION ";"
#elif defined(PLUGIN_NO_LETTER)
#define PLUGIN_OPTION ""
#else
#define PLUGIN_OPTION "Q"
#endif
#if defined(PLUGIN_TAKEN_NAME)
#define PLUGIN_LONG_NAME "help"
#else
#define PLUGIN_LONG_NAME "quick"
#endif

namespace {

class SmallModule final : public orvan::sdk::Module {
 public:
  explicit SmallModule(const orvan::sdk::ModuleEnvironment& environment)
      : help_(environment.libraryDirectory + '|') {
    for (const auto& [key, value] : environment.settings) {
      help_ += key + '=' + value + ';';
      if (key == "small/begun") begun_ = value;
    }
  }
  std::string Name() const override { return "Small"; }
  ProductVersion Version() const override { return {1, 0, 0, 0}; }
  orvan::sdk::ModuleHelp Help() const override { return {.summary = {}, .whole = help_}; }
  const std::vector<orvan::sdk::DiagnosticRecord>& Diagnostics() const override {
    return diagnostics_;
  }
  const std::vector<orvan::sdk::ToolRecord>& Tools() const override { return tools_; }
  void ScanDevices(orvan::sdk::ScanContext&) override {
#if defined(PLUGIN_HANGS)
    const std::ofstream begun(begun_);
    std::promise<void> never;
    never.get_future().wait();
#endif
  }

 private:
  std::string help_;
  std::string begun_;  // a file that is made when a search that hangs has begun; may be empty
  std::vector<orvan::sdk::DiagnosticRecord> diagnostics_ = {orvan::sdk::MakeDiagnostic(
      {"SMALL_TEST", PLUGIN_OPTION, PLUGIN_LONG_NAME, orvan::sdk::DiagnosticKey(1, 1), ""}, {})};
  std::vector<orvan::sdk::ToolRecord> tools_;
};

}  // namespace

#if defined(PLUGIN_GOOD) || defined(PLUGIN_HANGS) || defined(PLUGIN_TAKEN_LETTER) || \
    defined(PLUGIN_TAKEN_NAME) || defined(PLUGIN_SCANNER_LETTER) || defined(PLUGIN_NO_LETTER)

ORVAN_MODULE(SmallModule, "small", "", 0)

#elif !defined(PLUGIN_NO_ENTRY)

extern "C" __attribute__((visibility("default"))) const orvan::sdk::ModuleDescriptor*
OrvanModuleEntry() {
  static orvan::sdk::ModuleDescriptor descriptor;
  descriptor.name = "small";
  descriptor.create = [](const orvan::sdk::ModuleEnvironment& environment) -> orvan::sdk::Module* {
    return new SmallModule(environment);
  };
  descriptor.destroy = [](orvan::sdk::Module* module) { delete module; };
#if defined(PLUGIN_WRONG_MAGIC)
  descriptor.magic = 1;
#elif defined(PLUGIN_WRONG_ABI)
  descriptor.abiVersion = 99;
#elif defined(PLUGIN_WRONG_SIZE)
  descriptor.size = 8;
#elif defined(PLUGIN_NO_DESTROY)
  descriptor.destroy = nullptr;
#elif defined(PLUGIN_THROWS)
  descriptor.create = [](const orvan::sdk::ModuleEnvironment&) -> orvan::sdk::Module* {
    throw std::runtime_error("no machine here");
  };
#elif defined(PLUGIN_MAKES_NULL)
  descriptor.create = [](const orvan::sdk::ModuleEnvironment&) -> orvan::sdk::Module* {
    return nullptr;
  };
#elif defined(PLUGIN_NO_DESCRIPTOR)
  return nullptr;
#endif
  return &descriptor;
}

#endif
