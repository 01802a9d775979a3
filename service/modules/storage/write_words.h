#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/surface_write.h"
#include "service/modules/storage/unnamed_data.h"
#include "service/sdk/block_writer.h"
#include "service/sdk/verdict.h"

// All that the write test says to the operator, as message keys.
namespace orvan::storage::words {

inline constexpr char kNotAskedToWrite[] =
    "|THIS_TEST_DESTROYS_ALL_DATA_ON_THE_DISK._|ASK_FOR_IT_WITH_W(DESTRUCTIVE=YES)";

inline constexpr char kWrittenInOrderOnly[] =
    "|THE_DISK_HAS_ZONES_THAT_CAN_BE_WRITTEN_IN_ORDER_ONLY,_WHICH_THIS_TEST_DOES_NOT_DO";

// Why a disk with these partitions, or a file system of its own, is not written; none: there are
// none.
std::optional<sdk::Verdict> ContentRefusal(const std::vector<Partition>& partitions);
// Why a disk could not be opened for writing.
sdk::Verdict WriterVerdict(const sdk::OpenedWriter& opened, std::chrono::seconds timeLimit);
// Why nothing is written to a disk that was looked at; none: it holds nothing.
std::optional<sdk::Verdict> LookVerdict(const DataLook& look, std::chrono::seconds timeLimit);
// What is told before the first write.
std::string WritingKey(const WritePlan& plan);
// What writing and comparing came to, and what is on the disk now.
sdk::Verdict WriteVerdict(const WriteResult& result, const WritePlan& plan,
                          std::chrono::seconds timeLimit);
// What is on the disk now, as plain text; empty: nothing was written.
std::string LeftBehindText(const WriteResult& result, const WritePlan& plan);

}  // namespace orvan::storage::words
