#pragma once

#include <string>

#include "system/descriptor.h"

// Whom a process with many rights may follow: root and its own effective user, who are no
// strangers. Paths are in the system's form. Any thread.
namespace tarvex {

// Why nothing may be loaded from here: empty for a regular file (a folder, when `folder`) that
// belongs to no stranger and that no stranger may write. Links are not followed to a file. The
// folders above a folder must be no stranger's, too, and may be written by others only where nobody
// can rename what is not his own (sticky).
std::string TrustFault(const std::string& path, bool folder);

// Opens a folder, as a place for openat only (O_PATH), and follows a link on the way or at its end
// only when it is no stranger's. 0, or an errno value with `folder` as it was: ELOOP for a
// stranger's link, and for a path with more than 40 links.
int OpenFolderOverOwnLinks(const std::string& path, Descriptor& folder);

// The same, and makes the folders of the path that are missing (0755); where a link leads to
// nothing it makes nothing. What it made stays when it fails.
int MakeFolderOverOwnLinks(const std::string& path, Descriptor& folder);

}  // namespace tarvex
