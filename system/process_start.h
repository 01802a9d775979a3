#pragma once

namespace tarvex {

// What a program does before anything else. Main thread, before there is another.

// Fills those of the descriptors 0, 1 and 2 that are closed, so that no file opened later takes
// their numbers. Their use goes on failing with EBADF. 0, or an errno value.
int FillStandardDescriptors();

// A write to a pipe without a reader, or past the size that files may have here, fails (EPIPE,
// EFBIG) instead of ending the process.
void SurviveFailedWrites();

// Settles what libraries read from the environment: the scanner of options permutes
// (POSIXLY_CORRECT goes), and the sound library doesn't look for sound hardware where there is
// none (SDL_AUDIODRIVER is "dummy", unless the user set it).
void PrepareEnvironment();

}  // namespace tarvex
