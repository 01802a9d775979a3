#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "service/modules/storage/surface_read.h"
#include "service/sdk/block_reader.h"
#include "service/sdk/verdict.h"

// What tests that read a surface say to the operator, as message keys.
namespace orvan::storage::words {

std::string FirstBadSectorKey(std::uint64_t lba);

// Why a disk could not be opened.
sdk::Verdict OpenVerdict(const sdk::OpenedReader& opened, std::chrono::seconds timeLimit);
// What reading came to. `promisesAll`: a run that its time cap cut short is a warning,
// for a test whose name says that all is read.
sdk::Verdict SurfaceVerdict(const SurfaceResult& result, std::uint64_t plannedBlocks,
                            std::chrono::seconds timeLimit, bool promisesAll);

}  // namespace orvan::storage::words
