#pragma once

#include <string>

#include "os/descriptor.h"

// Folders that may be anybody's, which a process with many rights reaches over no stranger's link.
// Root and its own effective user are no strangers. Paths are in the system's form. Any thread.
namespace tarvex {

// Opens a folder, as a place for openat only (O_PATH), and follows a link on the way or at its end
// only when it is no stranger's. 0, or an errno value with `folder` as it was: ELOOP for a
// stranger's link, and for a path with more than 40 links.
int OpenFolderOverOwnLinks(const std::string& path, Descriptor& folder);

// The same, and makes the folders of the path that are missing (0755); where a link leads to
// nothing it makes nothing. What it made stays when it fails.
int MakeFolderOverOwnLinks(const std::string& path, Descriptor& folder);

}  // namespace tarvex
