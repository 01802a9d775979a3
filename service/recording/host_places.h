#pragma once

#include <string_view>

#include "service/recording/places.h"

// Where names of hosts stand, found by what stands beside them. Any thread.
namespace orvan::recording {

// Whether a file of that name holds the name of this host, in its first line.
bool IsHostFile(std::string_view name);
std::string_view FirstLine(std::string_view content);

// The servers of network mounts, in /proc/self/mountinfo and in tables like /proc/self/mounts.
Places HostsOfMountInfo(std::string_view table);
Places HostsOfMounts(std::string_view table);

// The host of an address ("https://user@host:port/"), whose scheme begins at `at`; size 0: none.
Place HostOfUrl(std::string_view text, std::size_t at);

// Where volumes or their groups are called after this host; none for an empty one. Also a text that
// is such a name as a whole.
Places HostsOfVolumes(std::string_view text, std::string_view host);
Places HostsOfVolumeName(std::string_view name, std::string_view host);

}  // namespace orvan::recording
