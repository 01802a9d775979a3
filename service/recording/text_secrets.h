#pragma once

#include <string_view>

#include "service/recording/places.h"

// Where secrets stand in texts of the machine: serial numbers, world-wide names, UUIDs, MAC
// addresses and names of hosts, found by how they look and by what they stand beside. Any thread.
namespace orvan::recording {

// In any text: a file's content, a name, a link's target.
Places SecretsIn(std::string_view text);
// In the content of the file at `path`, which may be a secret as a whole.
Places SecretsInFile(std::string_view path, std::string_view content);
// In a name of the folder at `path`.
Places SecretsInName(std::string_view path, std::string_view name);

}  // namespace orvan::recording
