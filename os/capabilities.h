#pragma once

#include <string>

namespace tarvex {

// The rights of a thread, by their names in capabilities(7), in small letters and parted by blanks.

// Takes from the calling thread, for good, all capabilities but those of `names` that it has, and
// what it starts gets no others. To be called before there is another thread. Empty, or the reason
// why the thread has more than that.
std::string KeepCapabilities(const std::string& names);

// From now on what the calling thread starts has the capabilities that the thread has itself, also
// when it is not root's. Where the system does not let us, it has none.
void PassOnCapabilities();

}  // namespace tarvex
