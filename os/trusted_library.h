#pragma once

#include <string>

#include "os/descriptor.h"

namespace tarvex {

// Loads a library that no stranger can have written, with all its symbols bound at once and none
// shown to other libraries, out of a folder of OpenTrustedFolder, through its descriptor. Null with
// the reason in `fault`, which does not begin with the library's name and in which `shownFolder`
// stands for the folder, when it is refused or can't be loaded. What it brings along beside itself
// (an RPATH with $ORIGIN) is found. Any thread.
//
// The loader knows the library by the number of the folder's descriptor, so that has to stay open
// for as long as the library is loaded: another folder of the same number would be taken for it.
void* LoadTrustedLibrary(const Descriptor& folder, const std::string& shownFolder,
                         const std::string& name, std::string& fault);

}  // namespace tarvex
