#include "service/recording/host_places.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace orvan::recording {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool IsLetterOrDigit(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

std::size_t EndOf(std::string_view text, std::size_t at, std::string_view marks) {
  return std::min(text.find_first_of(marks, at), text.size());
}

// A host without the user in front and the port behind; addresses in brackets are none.
void AddHost(Places& places, std::string_view text, std::size_t begin, std::size_t end) {
  const std::size_t user = text.substr(begin, end - begin).find('@');
  if (user != kNone) begin += user + 1;
  end = std::min(end, EndOf(text, begin, ":"));
  if (begin < end && text[begin] != '[') places.push_back({begin, end - begin});
}

// "host:/path", "one,two:6789:/path", "//host/share", "scheme://host/path".
void AddHostsOfSource(Places& places, std::string_view text, std::size_t begin) {
  const std::size_t end = EndOf(text, begin, " \t\n");
  const std::string_view source = text.substr(begin, end - begin);
  if (source.starts_with("//")) {
    return AddHost(places, text, begin + 2, EndOf(text, begin + 2, "/ \t\n"));
  }
  if (const Place host = HostOfUrl(text, begin); host.size != 0) return places.push_back(host);
  const std::size_t path = source.find(":/");
  if (path == kNone || source.starts_with('/')) return;
  for (std::size_t at = begin; at < begin + path;) {
    const std::size_t next = std::min(EndOf(text, at, ","), begin + path);
    AddHost(places, text, at, next);
    at = next + 1;
  }
}

// Calls `add` with the place behind the begin of each line.
template <typename Add>
void ForEachLine(std::string_view text, Add add) {
  for (std::size_t at = 0; at < text.size(); at = EndOf(text, at, "\n") + 1) add(at);
}

bool IsAlike(std::string_view text, std::string_view lower) {
  return text.size() >= lower.size() &&
         std::equal(lower.begin(), lower.end(), text.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) ==
                  std::tolower(static_cast<unsigned char>(b));
         });
}

// The size of the host where it begins at `at`, with dashes or with doubled ones.
// Source: lvm(8): a dash in a name of volumes is doubled.
std::size_t HostAt(std::string_view text, std::size_t at, std::string_view host) {
  std::string doubled;
  for (const char c : host) doubled += c == '-' ? std::string("--") : std::string(1, c);
  for (const std::string_view form : {std::string_view(doubled), host}) {
    const std::size_t end = at + form.size();
    if (!IsAlike(text.substr(std::min(at, text.size())), form)) continue;
    if (end >= text.size() || !IsLetterOrDigit(text[end])) return form.size();
  }
  return 0;
}

}  // namespace

bool IsHostFile(std::string_view name) {
  return name == "hostname" || name == "nodename";
}

std::string_view FirstLine(std::string_view content) {
  content = content.substr(0, EndOf(content, 0, std::string_view("\n\r \t\0", 5)));
  return content;
}

// Source: proc(5): the source of a mount stands behind " - TYPE ".
Places HostsOfMountInfo(std::string_view table) {
  Places places;
  ForEachLine(table, [&](std::size_t at) {
    const std::size_t end = EndOf(table, at, "\n");
    const std::size_t mark = table.find(" - ", at);
    if (mark >= end) return;
    const std::size_t source = table.find(' ', mark + 3);
    if (source < end) AddHostsOfSource(places, table, source + 1);
  });
  return places;
}

Places HostsOfMounts(std::string_view table) {
  Places places;
  ForEachLine(table, [&](std::size_t at) { AddHostsOfSource(places, table, at); });
  return places;
}

Place HostOfUrl(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && IsLetterOrDigit(text[end])) ++end;
  if (end == at || !text.substr(end).starts_with("://")) return {};
  const std::size_t begin = end + 3;
  Places places;
  AddHost(places, text, begin, EndOf(text, begin, std::string_view("/ \t\r\n\0,\"", 8)));
  return places.empty() ? Place{} : places.front();
}

Places HostsOfVolumes(std::string_view text, std::string_view host) {
  static constexpr std::array<std::string_view, 3> kHeads = {"/dev/mapper/",
                                                             "DM_NAME=", "VG_NAME="};
  Places places;
  if (host.empty()) return places;
  for (const std::string_view head : kHeads) {
    for (std::size_t at = text.find(head); at != kNone; at = text.find(head, at + 1)) {
      const std::size_t size = HostAt(text, at + head.size(), host);
      if (size != 0) places.push_back({at + head.size(), size});
    }
  }
  return places;
}

Places HostsOfVolumeName(std::string_view name, std::string_view host) {
  const std::size_t size = host.empty() ? 0 : HostAt(name, 0, host);
  return size == 0 ? Places{} : Places{{0, size}};
}

}  // namespace orvan::recording
