#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/modules/storage/drive/ask.h"

// The errors that a drive remembers.
namespace orvan::storage {

struct LoggedError {
  // The same in each run, and not of any other one of the log.
  std::uint64_t id = 0;
  std::string text;  // "uncorrectable data (UNC) at LBA 4096, READ DMA EXT, at power-on hour 12"
  // The drive refused a command that it does not have or that did not fit, or could help itself.
  bool isHarmless = false;
};

// One place in which a drive remembers or counts errors.
struct ErrorSource {
  std::string key;           // what its numbers are kept by: "log"
  std::string name;          // "in the drive's error log", for people
  std::uint64_t count = 0;   // of all errors ever, also those that are in no entry any more
  bool isCountFull = false;  // it counts no further
  std::vector<LoggedError> entries = {};  // newest first; none where errors are counted only
};

struct LoggedErrors {
  std::vector<ErrorSource> sources;  // none: `trouble` says why
  DriveTrouble trouble;
  std::vector<DriveTrouble> troubles;  // what else could not be had or trusted
};

// Asks an ATA drive for its extended or its summary error log, an NVMe drive for its error log, and
// a SCSI drive for its counts of errors that it could not correct and for what its background scan
// has met. A drive that vanishes, hangs or is not ours to ask has told nothing, and so it is after
// a stop. The thread of the link.
LoggedErrors ReadLoggedErrors(DriveLink& link);

// What is new of a source since its numbers were kept.
struct NewErrors {
  std::uint64_t count = 0;
  std::size_t entries = 0;  // how many entries of the source are among them, the newest
  bool isAtLeast = false;   // there may be more of them
  bool wasCleared = false;  // the source had more before, or others: all that it has is new
};

// `countBefore` and `newestBefore` (the id of the newest entry, 0: there was none) are those of the
// earlier look. Any thread, as the next.
NewErrors NewSince(const ErrorSource& source, std::uint64_t countBefore,
                   std::uint64_t newestBefore);
// Of a first look: all that there is.
NewErrors NewOf(const ErrorSource& source);

}  // namespace orvan::storage
