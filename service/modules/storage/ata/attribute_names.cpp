#include "service/modules/storage/ata/attribute_names.h"

#include <algorithm>
#include <array>

namespace orvan::storage::ata {
namespace {

// Whose word a meaning is. A maker's goes before that of all disks or all solid state drives, and
// that before what all drives share.
enum class Maker : std::uint8_t {
  kAll,
  kDisk,
  kSolidState,
  kFujitsu,
  kFujitsuMobile,
  kIntel,
  kKingston,
  kMaxtor,
  kMicron,
  kMx500,
  kSamsungDisk,
  kSamsungTenths,
  kSamsungSolidState,
  kSeagate,
};

struct Row {
  std::uint8_t id;
  Maker maker;
  RawForm form;
  std::string_view name;
};

using M = Maker;
using F = RawForm;

// Source: Hitachi Travelstar 5K320 SATA OEM specification, table of attributes (1 to 12, 191 to
// 199, 223); Samsung MZMPC data sheet, 7.3.2.2 (175 to 183, 190, 195, 235, 241); Intel SSD 730
// product specification, SMART attributes (170 to 174, 183, 184, 187, 190, 192, 225 to 228, 232,
// 233, 241, 242, 249); Micron TN-FD-22 (1, 5, 171 to 174, 180, 183, 184, 197, 202, 206, 210, 246 to
// 248); Kingston MKP-306 (5, 171 to 182, 187, 194 to 196, 201, 204, 230 to 242). The rest is what
// makers' data sheets have in common.
constexpr std::array kRows = {
    Row{1, M::kAll, F::kNumber, "Raw read error rate"},
    Row{2, M::kAll, F::kNumber, "Throughput performance"},
    Row{3, M::kAll, F::kAverage, "Spin-up time"},
    Row{4, M::kAll, F::kNumber, "Start/stop count"},
    Row{5, M::kAll, F::kWord, "Reallocated sectors"},
    Row{5, M::kKingston, F::kWord, "Retired blocks"},
    Row{5, M::kMicron, F::kWord, "Reallocated NAND blocks"},
    Row{7, M::kDisk, F::kNumber, "Seek error rate"},
    Row{8, M::kDisk, F::kNumber, "Seek time performance"},
    Row{9, M::kAll, F::kHours, "Power-on hours"},
    Row{9, M::kFujitsu, F::kSeconds, "Power-on time"},
    Row{9, M::kFujitsuMobile, F::kMinutes, "Power-on time"},
    Row{9, M::kMaxtor, F::kMinutes, "Power-on time"},
    Row{9, M::kSamsungDisk, F::kHalfMinutes, "Power-on time"},
    Row{9, M::kSamsungTenths, F::kHalfMinutes, "Power-on time"},
    Row{10, M::kDisk, F::kNumber, "Spin retries"},
    Row{11, M::kDisk, F::kNumber, "Calibration retries"},
    Row{12, M::kAll, F::kNumber, "Power cycles"},
    Row{13, M::kAll, F::kNumber, "Soft read error rate"},
    Row{22, M::kDisk, F::kNumber, "Helium level"},
    Row{170, M::kSolidState, F::kNumber, "Available reserved space"},
    Row{171, M::kSolidState, F::kNumber, "Program failures"},
    Row{172, M::kSolidState, F::kNumber, "Erase failures"},
    Row{173, M::kSolidState, F::kNumber, "Wear leveling count"},
    Row{173, M::kMicron, F::kNumber, "Average block erase count"},
    Row{174, M::kSolidState, F::kNumber, "Unexpected power losses"},
    Row{175, M::kSolidState, F::kNumber, "Program failures (chip)"},
    Row{175, M::kIntel, F::kNumber, "Power loss protection failure"},
    Row{176, M::kSolidState, F::kNumber, "Erase failures (chip)"},
    Row{177, M::kSolidState, F::kNumber, "Wear leveling count"},
    Row{177, M::kKingston, F::kNumber, "Wear range delta"},
    Row{178, M::kSolidState, F::kNumber, "Used reserved blocks (chip)"},
    Row{179, M::kSolidState, F::kNumber, "Used reserved blocks"},
    Row{180, M::kSolidState, F::kNumber, "Unused reserved blocks"},
    Row{181, M::kSolidState, F::kNumber, "Program failures"},
    Row{182, M::kSolidState, F::kNumber, "Erase failures"},
    Row{183, M::kAll, F::kNumber, "Runtime bad blocks"},
    Row{183, M::kIntel, F::kNumber, "SATA interface downshifts"},
    Row{183, M::kMicron, F::kNumber, "SATA interface downshifts"},
    Row{184, M::kAll, F::kNumber, "End-to-end errors"},
    Row{184, M::kMicron, F::kNumber, "Error corrections"},
    Row{187, M::kAll, F::kNumber, "Reported uncorrectable errors"},
    Row{188, M::kAll, F::kNumber, "Command timeouts"},
    Row{188, M::kSeagate, F::kThreeWords, "Command timeouts"},
    Row{189, M::kDisk, F::kNumber, "High fly writes"},
    Row{190, M::kAll, F::kTemperature, "Airflow temperature"},
    Row{190, M::kIntel, F::kTemperature, "Case temperature"},
    Row{191, M::kDisk, F::kNumber, "Shock errors"},
    Row{192, M::kAll, F::kNumber, "Power-off retracts"},
    Row{192, M::kIntel, F::kNumber, "Unsafe shutdowns"},
    Row{193, M::kDisk, F::kNumber, "Load cycles"},
    Row{194, M::kAll, F::kTemperature, "Temperature"},
    Row{194, M::kSamsungTenths, F::kTenths, "Temperature"},
    Row{195, M::kAll, F::kNumber, "Hardware ECC recovered"},
    Row{196, M::kAll, F::kWord, "Reallocation events"},
    Row{197, M::kAll, F::kNumber, "Pending sectors"},
    // Its firmware raises it for moments in which nothing is wrong.
    Row{197, M::kMx500, F::kNumber, "Pending sectors (unreliable)"},
    Row{198, M::kAll, F::kNumber, "Offline uncorrectable sectors"},
    Row{199, M::kAll, F::kNumber, "Interface CRC errors"},
    Row{200, M::kDisk, F::kNumber, "Write error rate"},
    Row{201, M::kDisk, F::kNumber, "Soft read error rate"},
    Row{201, M::kKingston, F::kNumber, "Uncorrectable read error rate"},
    Row{202, M::kDisk, F::kNumber, "Data address mark errors"},
    Row{202, M::kMicron, F::kNumber, "Percent lifetime remaining"},
    Row{204, M::kKingston, F::kNumber, "Soft ECC correction rate"},
    Row{206, M::kMicron, F::kNumber, "Write error rate"},
    Row{210, M::kMicron, F::kNumber, "Successful RAIN recoveries"},
    Row{220, M::kDisk, F::kNumber, "Disk shift"},
    Row{222, M::kDisk, F::kNumber, "Loaded hours"},
    Row{223, M::kDisk, F::kNumber, "Load retries"},
    Row{224, M::kDisk, F::kNumber, "Load friction"},
    Row{225, M::kDisk, F::kNumber, "Load cycles"},
    Row{225, M::kIntel, F::kNumber, "Host writes, 32 MiB"},
    Row{226, M::kDisk, F::kNumber, "Load-in time"},
    Row{226, M::kIntel, F::kNumber, "Workload media wear"},
    Row{227, M::kIntel, F::kNumber, "Workload host reads, percent"},
    Row{228, M::kIntel, F::kNumber, "Workload minutes"},
    Row{230, M::kDisk, F::kNumber, "Head amplitude"},
    Row{230, M::kKingston, F::kNumber, "Life curve status"},
    Row{231, M::kKingston, F::kNumber, "SSD life left"},
    Row{232, M::kAll, F::kNumber, "Available reserved space"},
    Row{233, M::kIntel, F::kNumber, "Media wearout indicator"},
    Row{233, M::kKingston, F::kNumber, "Lifetime writes to flash, GiB"},
    Row{235, M::kSamsungSolidState, F::kNumber, "Power loss recoveries"},
    Row{240, M::kDisk, F::kHours, "Head flying hours"},
    Row{240, M::kSeagate, F::kLongHours, "Head flying hours"},
    Row{241, M::kAll, F::kNumber, "Sectors written"},
    Row{241, M::kIntel, F::kNumber, "Host writes, 32 MiB"},
    Row{241, M::kKingston, F::kNumber, "Host writes, GiB"},
    Row{242, M::kAll, F::kNumber, "Sectors read"},
    Row{242, M::kIntel, F::kNumber, "Host reads, 32 MiB"},
    Row{242, M::kKingston, F::kNumber, "Host reads, GiB"},
    Row{246, M::kMicron, F::kNumber, "Host sectors written"},
    Row{247, M::kMicron, F::kNumber, "Host program pages"},
    Row{248, M::kMicron, F::kNumber, "Background program pages"},
    Row{249, M::kIntel, F::kNumber, "NAND writes, GiB"},
    Row{250, M::kDisk, F::kNumber, "Read error retry rate"},
    Row{254, M::kDisk, F::kNumber, "Free-fall events"},
};

// How models begin, '#' for a digit; the first that fits counts. Case counts: it is the makers'
// own.
struct Beginning {
  std::string_view model;
  Maker maker;
};
constexpr Beginning kBeginnings[] = {
    // What drives counted in units of their maker's own, later ones count in hours and degrees.
    {"FUJITSU MHW", M::kAll},
    {"FUJITSU MHX", M::kAll},
    {"FUJITSU MHY", M::kAll},
    {"FUJITSU MHZ2###BJ", M::kFujitsuMobile},
    {"FUJITSU MHZ", M::kAll},
    {"FUJITSU MJ", M::kAll},
    {"FUJITSU ", M::kFujitsu},
    {"INTEL SSD", M::kIntel},
    {"KINGSTON ", M::kKingston},
    {"Maxtor 6G", M::kAll},
    {"Maxtor 6H", M::kAll},
    {"Maxtor 6V", M::kAll},
    {"Maxtor 7H", M::kAll},
    {"Maxtor 7V", M::kAll},
    {"Maxtor ", M::kMaxtor},
    {"MAXTOR STM", M::kSeagate},
    {"Crucial_CT", M::kMicron},
    {"CT###MX500", M::kMx500},
    {"CT####MX500", M::kMx500},
    {"CT###", M::kMicron},
    {"Micron", M::kMicron},
    {"MTFD", M::kMicron},
    {"SAMSUNG SV0412H", M::kSamsungTenths},
    {"SAMSUNG SV1204H", M::kSamsungTenths},
    {"SAMSUNG SV", M::kSamsungDisk},
    {"SAMSUNG MZ", M::kSamsungSolidState},
    {"SAMSUNG SSD", M::kSamsungSolidState},
    {"Samsung SSD", M::kSamsungSolidState},
    {"MZ", M::kSamsungSolidState},
    {"ST###", M::kSeagate},
    {"Seagate ", M::kSeagate},
};

bool BeginsWith(std::string_view model, std::string_view beginning) {
  if (model.size() < beginning.size()) return false;
  return std::equal(beginning.begin(), beginning.end(), model.begin(), [](char wanted, char is) {
    return wanted == '#' ? is >= '0' && is <= '9' : wanted == is;
  });
}

Maker MakerOf(std::string_view model) {
  const auto* found =
      std::find_if(std::begin(kBeginnings), std::end(kBeginnings),
                   [model](const Beginning& row) { return BeginsWith(model, row.model); });
  return found == std::end(kBeginnings) ? Maker::kAll : found->maker;
}

const Row* Find(std::uint8_t id, Maker maker) {
  const auto* found = std::find_if(kRows.begin(), kRows.end(), [id, maker](const Row& row) {
    return row.id == id && row.maker == maker;
  });
  return found == kRows.end() ? nullptr : found;
}

}  // namespace

AttributeMeaning MeaningOf(std::uint8_t id, std::string_view model,
                           std::optional<bool> isRotating) {
  const Maker maker = MakerOf(model);
  const Row* row = Find(id, maker);
  if (row == nullptr && maker == M::kMx500) row = Find(id, M::kMicron);
  if (row == nullptr && isRotating.value_or(true)) row = Find(id, Maker::kDisk);
  if (row == nullptr && !isRotating.value_or(false)) row = Find(id, Maker::kSolidState);
  if (row == nullptr) row = Find(id, Maker::kAll);
  if (row == nullptr) return {"Vendor specific", RawForm::kNumber, false};
  return {row->name, row->form, true};
}

}  // namespace orvan::storage::ata
