#pragma once

#include <cstdint>

#include "service/sdk/module.h"

namespace orvan::sdk {

inline constexpr std::uint32_t kModuleMagic = 0x4E565254;  // "TRVN"
// Raised with every change of a class or record in service/sdk or the boundary records.
inline constexpr std::uint32_t kModuleAbiVersion = 11;

inline constexpr std::uint64_t kMemoryGraceBytes = 512ULL << 20;

// What a plug-in's one exported entry returns. The service checks magic, version and size before
// it looks at anything else.
struct ModuleDescriptor {
  std::uint32_t magic = kModuleMagic;
  std::uint32_t abiVersion = kModuleAbiVersion;
  std::uint32_t size = sizeof(ModuleDescriptor);
  const char* name = nullptr;  // for the log; the module's own Name() is shown
  // The capabilities that the module's work needs, as capabilities(7) names them in small letters,
  // parted by blanks; of those that the program has, its worker keeps no others.
  const char* capabilities = "";
  // What the module's work takes of memory at most. A worker that grows further than
  // kMemoryGraceBytes beyond that is ended, and the test that ran is invalid.
  std::uint64_t memoryBytes = 0;
  // Makes the module; may throw. `destroy` ends it where its tables are read; in a worker nothing
  // does, for that ends at once.
  Module* (*create)(const ModuleEnvironment& environment) = nullptr;
  void (*destroy)(Module* module) = nullptr;
};

}  // namespace orvan::sdk

// The entry of a plug-in, one file per module:
//   ORVAN_MODULE(orvan::storage::StorageModule, "storage", "cap_sys_rawio", 64 << 20)
#define ORVAN_MODULE(TYPE, NAME, CAPABILITIES, MEMORY_BYTES)                            \
  extern "C" __attribute__((visibility("default"))) const orvan::sdk::ModuleDescriptor* \
  OrvanModuleEntry() {                                                                  \
    static const orvan::sdk::ModuleDescriptor descriptor{                               \
        orvan::sdk::kModuleMagic,                                                       \
        orvan::sdk::kModuleAbiVersion,                                                  \
        sizeof(orvan::sdk::ModuleDescriptor),                                           \
        NAME,                                                                           \
        CAPABILITIES,                                                                   \
        MEMORY_BYTES,                                                                   \
        [](const orvan::sdk::ModuleEnvironment& environment) -> orvan::sdk::Module* {   \
          return new TYPE(environment);                                                 \
        },                                                                              \
        [](orvan::sdk::Module* module) { delete module; }};                             \
    return &descriptor;                                                                 \
  }
