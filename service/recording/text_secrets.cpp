#include "service/recording/text_secrets.h"

#include <algorithm>
#include <array>
#include <string>

#include "service/recording/host_places.h"

namespace orvan::recording {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kBlanks(" \t\r\n\0", 5);

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsHex(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool IsLetterOrDigit(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// How many characters from `at` on are of a kind.
template <typename Kind>
std::size_t RunOf(std::string_view text, std::size_t at, Kind isOfIt) {
  const auto begin = text.begin() + static_cast<std::ptrdiff_t>(std::min(at, text.size()));
  return static_cast<std::size_t>(std::find_if_not(begin, text.end(), isOfIt) - begin);
}

// Finders: the secret that begins at `at`, where no letter or digit stands in front; size 0: none.
using Finder = Place (*)(std::string_view text, std::size_t at);

// Groups of so many letters or digits, with dashes between them.
Place Grouped(std::string_view text, std::size_t at, bool isHex,
              std::initializer_list<std::size_t> groups) {
  std::size_t end = at;
  for (const std::size_t group : groups) {
    if (end != at && (end >= text.size() || text[end++] != '-')) return {};
    const std::size_t run = isHex ? RunOf(text, end, IsHex) : RunOf(text, end, IsLetterOrDigit);
    if (run != group) return {};
    end += run;
  }
  return end < text.size() && IsLetterOrDigit(text[end]) ? Place{} : Place{at, end - at};
}

// Source: RFC 9562, 4; lvm(8): UUIDs of volumes have another shape.
Place Uuid(std::string_view text, std::size_t at) {
  const Place found = Grouped(text, at, true, {8, 4, 4, 4, 12});
  return found.size != 0 ? found : Grouped(text, at, false, {6, 4, 4, 4, 4, 4, 6});
}

// A machine's id, an NGUID, a card's CID.
Place LongHex(std::string_view text, std::size_t at) {
  return RunOf(text, at, IsLetterOrDigit) == 32 && RunOf(text, at, IsHex) == 32 ? Place{at, 32}
                                                                                : Place{};
}

// Six or more bytes as pairs: a MAC address, a port's name. Such of one byte alone are nobody's.
Place Pairs(std::string_view text, std::size_t at) {
  const char mark = at + 2 < text.size() ? text[at + 2] : '\0';
  if ((mark != ':' && mark != '-') || (at > 0 && text[at - 1] == mark)) return {};
  std::size_t end = at;
  std::size_t pairs = 0;
  bool isOfOneByte = true;
  while (RunOf(text, end, IsLetterOrDigit) == 2 && RunOf(text, end, IsHex) == 2) {
    isOfOneByte = isOfOneByte && text.substr(end, 2) == text.substr(at, 2);
    ++pairs;
    end += 2;
    if (end >= text.size() || text[end] != mark) break;
    ++end;
  }
  if (end > at && end <= text.size() && text[end - 1] == mark) --end;
  return pairs >= 6 && !isOfOneByte ? Place{at, end - at} : Place{};
}

bool StartsAt(std::string_view text, std::size_t at, std::string_view word) {
  return text.substr(at).starts_with(word);
}

// Source: SPC-5, 7.7.6 (designators), as the kernel writes them.
Place WorldWideName(std::string_view text, std::size_t at) {
  for (const std::string_view head : {"naa.", "eui.", "wwn-0x", "sas-0x", "sas-exp0x", "fc-0x",
                                      "nvme-eui.", "scsi-3", "dm-uuid-mpath-3"}) {
    if (!StartsAt(text, at, head)) continue;
    const std::size_t run = RunOf(text, at + head.size(), IsHex);
    if (run >= 8) return {at + head.size(), run};
  }
  return {};
}

// "t10." with vendor (8), and of an ATA drive model (40) and serial number (20).
// Source: SAT-4, 10.4.4 (device identification).
Place T10Name(std::string_view text, std::size_t at) {
  constexpr std::string_view kHead = "t10.";
  constexpr std::size_t kVendor = 8, kModel = 40;
  if (!StartsAt(text, at, kHead)) return {};
  const std::size_t end =
      std::min(text.find_first_of(std::string_view("\n\0", 2), at), text.size());
  const std::size_t begin =
      at + kHead.size() + (StartsAt(text, at + kHead.size(), "ATA ") ? kVendor + kModel : kVendor);
  if (begin >= end) return {at + kHead.size(), end - at - kHead.size()};
  const std::string_view rest = text.substr(begin, end - begin);
  const std::size_t last = rest.find_last_not_of(kBlanks);
  if (last == kNone) return {};
  const std::size_t first = rest.find_first_not_of(kBlanks);
  return {begin + first, last - first + 1};
}

// "nvme.1b36-SERIAL-MODEL-00000001" with serial number and model as hexadecimal text.
// Source: Linux, drivers/nvme/host/sysfs.c (wwid).
Place NvmeName(std::string_view text, std::size_t at) {
  constexpr std::size_t kVendor = 10;  // "nvme." with the vendor, and a dash
  if (!StartsAt(text, at, "nvme.") || RunOf(text, at + 5, IsHex) != 4) return {};
  const std::size_t run = RunOf(text, at + kVendor, IsHex);
  return run >= 2 && at + kVendor <= text.size() && text[at + kVendor - 1] == '-'
             ? Place{at + kVendor, run}
             : Place{};
}

// The serial number in a name below by-id: what stands behind the last "_", or behind the kind of
// bus; not the number of a namespace or a LUN, nor the partition.
// Source: systemd, rules.d/60-persistent-storage.rules.
Place InDiskId(std::string_view text, std::size_t at, std::size_t size) {
  std::string_view name = text.substr(at, size);
  if (const std::size_t part = name.rfind("-part"); part != kNone) name = name.substr(0, part);
  const auto cutAt = [&name](char mark) {
    const std::size_t place = name.rfind(mark);
    if (place == kNone || place + 1 >= name.size()) return;
    const std::string_view tail = name.substr(place + 1);
    if (tail.size() <= 3 && tail.find_first_not_of("0123456789:") == kNone)
      name = name.substr(0, place);
  };
  cutAt('-');
  cutAt('_');
  std::size_t begin = name.rfind('_');
  if (begin == kNone) begin = name.find('-');
  begin = begin == kNone ? 0 : begin + 1;
  return {at + begin, name.size() - begin};
}

std::size_t ComponentEnd(std::string_view text, std::size_t at) {
  return std::min(text.find_first_of(std::string_view(" \t\r\n\0/", 6), at), text.size());
}

Place BehindFolder(std::string_view text, std::size_t at) {
  for (const std::string_view folder : {"by-uuid/", "by-partuuid/"}) {
    if (!StartsAt(text, at, folder)) continue;
    const std::size_t begin = at + folder.size();
    return {begin, ComponentEnd(text, begin) - begin};
  }
  if (!StartsAt(text, at, "by-id/")) return {};
  const std::size_t begin = at + std::string_view("by-id/").size();
  return InDiskId(text, begin, ComponentEnd(text, begin) - begin);
}

// A bare number of 64 bits, as the kernel shows those of the IEEE's registered form.
// Source: SPC-5, 7.7.6.6 (NAA 5h).
Place WorldWideNumber(std::string_view text, std::size_t at) {
  constexpr std::size_t kDigits = 16;
  const bool isOne = StartsAt(text, at, "0x5") && RunOf(text, at + 2, IsHex) == kDigits;
  return isOne ? Place{at + 2, kDigits} : Place{};
}

// The part of a qualified name behind the authority that gave it.
// Source: NVM Express Base 2.0, 4.5; RFC 7143, 4.2.7.
Place QualifiedName(std::string_view text, std::size_t at) {
  if (!StartsAt(text, at, "nqn.") && !StartsAt(text, at, "iqn.")) return {};
  const std::size_t end =
      std::min(text.find_first_of(std::string_view(" \t\r\n\0/,\"", 8), at), text.size());
  const std::size_t mark = text.find(':', at);
  if (mark >= end) return {};
  const std::size_t begin = mark + (StartsAt(text, mark, ":uuid:") ? 6 : 1);
  return {begin, end - begin};
}

bool HoldsOneOf(const std::string& key, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&key](std::string_view word) { return key.find(word) != kNone; });
}

// What tells the kind of a value, in front of it.
std::size_t HeadOfValue(std::string_view text, std::size_t begin) {
  for (const std::string_view head : {"0x", "luks-", "UUID=", "\""}) {
    if (StartsAt(text, begin, head)) return head.size();
  }
  return 0;
}

// "KEY=VALUE" as in uevents, the device manager's database and the kernel's command line. Where it
// begins a line, a serial number goes to its end, blanks and all.
Place BehindKey(std::string_view text, std::size_t at) {
  if (at > 0 && (text[at - 1] == '_' || text[at - 1] == '.')) return {};
  const std::size_t size =
      RunOf(text, at, [](char c) { return IsLetterOrDigit(c) || c == '_' || c == '.'; });
  std::size_t begin = at + size + 1;
  if (begin > text.size() || text[begin - 1] != '=') return {};
  std::string key(text.substr(at, size));
  std::transform(key.begin(), key.end(), key.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  if (!HoldsOneOf(key,
                  {"SERIAL", "UUID", "WWN", "UNIQ", "GUID", "HOSTNAME", "MACADDR", "MACHINE_ID"})) {
    return {};
  }
  const bool beginsLine = at == 0 || text[at - 1] == '\n' || text[at - 1] == '\0' ||
                          (text[at - 1] == ':' && (at < 3 || text[at - 3] == '\n'));
  const bool isLine = beginsLine && HoldsOneOf(key, {"SERIAL"});
  const std::string_view marks =
      isLine ? std::string_view("\r\n\0", 3) : std::string_view(" \t\r\n\0\"", 6);
  if (isLine) begin += RunOf(text, begin, [](char c) { return c == ' ' || c == '\t'; });
  begin += HeadOfValue(text, begin);
  std::size_t end = std::min(text.find_first_of(marks, begin), text.size());
  while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t')) --end;
  return key == "ID_SERIAL" ? InDiskId(text, begin, end - begin) : Place{begin, end - begin};
}

constexpr std::array<Finder, 11> kFinders = {HostOfUrl,    WorldWideNumber, QualifiedName, NvmeName,
                                             T10Name,      WorldWideName,   Uuid,          LongHex,
                                             BehindFolder, BehindKey,       Pairs};

// Files whose lines are secrets as a whole.
constexpr std::array<std::string_view, 32> kWhole = {"serial",
                                                     "serial_number",
                                                     "serial-number",
                                                     "wwid",
                                                     "eui",
                                                     "nguid",
                                                     "uuid",
                                                     "cid",
                                                     "machine-id",
                                                     "hostname",
                                                     "domainname",
                                                     "nodename",
                                                     "product_serial",
                                                     "product_uuid",
                                                     "board_serial",
                                                     "board_asset_tag",
                                                     "chassis_serial",
                                                     "chassis_asset_tag",
                                                     "unique_id",
                                                     "sas_address",
                                                     "port_name",
                                                     "node_name",
                                                     "fabric_name",
                                                     "subsysnqn",
                                                     "hostnqn",
                                                     "hostid",
                                                     "boot_id",
                                                     "guid",
                                                     "uniq",
                                                     "node_guid",
                                                     "sys_image_guid",
                                                     "unique_number"};

// The line without what only tells its kind.
Place WithoutHead(std::string_view text, std::size_t at, std::size_t size) {
  for (const Finder find : {NvmeName, T10Name, WorldWideName}) {
    if (const Place found = find(text, at); found.size != 0) return found;
  }
  for (const std::string_view head : {"0x", "uuid.", "naa.", "eui."}) {
    if (text.substr(at, size).starts_with(head)) return {at + head.size(), size - head.size()};
  }
  return {at, size};
}

Places WholeLines(std::string_view text) {
  Places places;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string_view line = text.substr(begin, end - begin);
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first != kNone) {
      const std::size_t size = line.find_last_not_of(kBlanks) - first + 1;
      places.push_back(WithoutHead(text, begin + first, size));
    }
    begin = end + 1;
  }
  return places;
}

std::string_view NameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

Places SecretsIn(std::string_view text) {
  Places places;
  std::size_t at = 0;
  while (at < text.size()) {
    Place found;
    if (at == 0 || !IsLetterOrDigit(text[at - 1])) {
      for (const Finder find : kFinders) {
        found = find(text, at);
        if (found.size != 0) break;
      }
    }
    if (found.size != 0) places.push_back(found);
    at = found.size != 0 ? found.at + found.size : at + 1;
  }
  return places;
}

Places SecretsInFile(std::string_view path, std::string_view content) {
  const std::string_view name = NameOf(path);
  if (std::find(kWhole.begin(), kWhole.end(), name) != kWhole.end()) return WholeLines(content);
  const bool isInfo = name == "mountinfo";
  Places places = SecretsIn(content);
  if (isInfo || name == "mounts" || name == "mtab") {
    const Places hosts = isInfo ? HostsOfMountInfo(content) : HostsOfMounts(content);
    places.insert(places.end(), hosts.begin(), hosts.end());
  }
  return Joined(std::move(places));
}

Places SecretsInName(std::string_view path, std::string_view name) {
  const std::string_view folder = NameOf(path);
  if (folder == "by-uuid" || folder == "by-partuuid") return {{0, name.size()}};
  if (folder == "by-id") {
    const Place found = InDiskId(name, 0, name.size());
    return found.size == 0 ? Places{} : Places{found};
  }
  return SecretsIn(name);
}

}  // namespace orvan::recording
