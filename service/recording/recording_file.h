#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "os/descriptor.h"
#include "service/recording/recording.h"

// The files of recordings, for the program that chooses one and the processes that share it.
namespace orvan::recording {

// Makes a file a new recording, open for appending: only its owner may read it, and an older one of
// that name is gone. A regular file under its only name, reached over no stranger's link
// (os/only_file.h). Empty, or the reason why not.
std::string BeginRecording(const std::string& path, tarvex::Descriptor& file);

// Reads a recording and checks all of it. What was checked is in `memory`, where nobody can change
// it. Empty, or the reason why not.
std::string ReadRecording(const std::string& path, tarvex::Descriptor& memory);

// What a module was answered in such a memory, which stays where it is. Throws RecordingFault.
std::shared_ptr<const Recording> RecordingIn(const tarvex::Descriptor& memory,
                                             const std::string& module);
// How much memory the replay of it takes at most, beside what the module takes. In bytes.
std::uint64_t MemoryOfReplay(const tarvex::Descriptor& memory);

}  // namespace orvan::recording
