#include "service/modules/storage/ata/log_directory.h"

#include "service/modules/storage/ata/page.h"

namespace orvan::storage::ata {

Decoded<LogDirectory> DecodeLogDirectory(Bytes bytes) {
  std::string trouble = TroubleOfPage(bytes);
  if (!trouble.empty()) return Distrusted<LogDirectory>(std::move(trouble));
  // Source: ACS-4, 9, general purpose log directory: version 0001h, 0000h says that there is none.
  constexpr std::uint16_t kVersion = 1;
  if (Word(bytes, 0) != kVersion) {
    return Distrusted<LogDirectory>("the log directory has version " +
                                    std::to_string(Word(bytes, 0)) + ", 1 was expected");
  }
  LogDirectory directory;
  for (std::size_t log = 1; log < directory.pages.size(); ++log) {
    directory.pages[log] = Word(bytes, log);
  }
  return {directory, {}};
}

}  // namespace orvan::storage::ata
