#pragma once

#include <cstddef>
#include <string>

#include "os/descriptor.h"

namespace tarvex {

enum class LastLink { kFollow, kRefuse };

// Opens a regular file for reading, `path` in the system's own form. Not open for anything else: a
// pipe or a device in the file's place holds nobody. Any thread.
Descriptor OpenRegularFile(const std::string& path, LastLink lastLink);

// Replaces `text` by the content of a regular file, which may be reached over a link, of which at
// most `limit` bytes are read. False, with `text` as it was, for anything else and when reading
// fails. Any thread.
bool ReadRegularFile(const std::string& path, std::size_t limit, std::string& text);

// Replaces `text` by the content of an open file up to `limit` bytes, from where it stands. False,
// with `text` as it was, when reading fails. Any thread.
bool ReadUpTo(const Descriptor& file, std::size_t limit, std::string& text);

// True when one look at `name` in the folder finds the very file that is open, a regular one, under
// its only name. Any thread.
bool IsOnlyName(const Descriptor& folder, const std::string& name, const Descriptor& file);

// True when `name` in the folder is the very file that is open, and no link to it. Any thread.
bool IsNamed(const Descriptor& folder, const std::string& name, const Descriptor& file);

}  // namespace tarvex
