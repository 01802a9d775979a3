#pragma once

#include <cstddef>
#include <string>

#include "os/descriptor.h"

// What a process with many rights relies on: no stranger (neither root nor its own effective user)
// can have put it there, and none can exchange it between the look at it and its use, for what is
// looked at is open. Paths are in the system's form; a relative one counts from the working folder,
// which must be trusted like the rest. Each function gives the reason why not, empty when all is
// well. Any thread.
namespace tarvex {

// Opens a folder, as a place for openat only (O_PATH). It belongs to no stranger and only its owner
// may write it; the folders on the way are no stranger's, too, and may be written by others only
// where nobody can rename what is not his own (sticky). A stranger's link is not followed.
std::string OpenTrustedFolder(const std::string& path, Descriptor& folder);

// The same, and makes the folder (0755) when only itself is missing.
std::string MakeTrustedFolder(const std::string& path, Descriptor& folder);

// The same for a folder of the owner's alone (0700), opened for its content, too. One that others
// may look into is closed to them, for nobody but its owner can have written it; where that fails
// it is no good.
std::string MakePrivateFolder(const std::string& path, Descriptor& folder);

// Opens a regular file of a trusted folder for reading, no link, that belongs to no stranger and
// that only its owner may write. Never waits for the other end of a pipe.
std::string OpenTrustedFile(const Descriptor& folder, const std::string& name, Descriptor& file);

// Reads the whole of such a file in a trusted folder, reached over no stranger's link, also at its
// end. A missing file is an empty one. `text` stays as it was when it can't be read or is longer
// than `limit` bytes.
std::string ReadTrustedFile(const std::string& path, std::size_t limit, std::string& text);

}  // namespace tarvex
