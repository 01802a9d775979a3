#pragma once

namespace tarvex {

// What a program does before anything else. Main thread, before there is another.

// Fills those of the descriptors 0, 1 and 2 that are closed, so that no file opened later takes
// their numbers. Their use goes on failing with EBADF. 0, or an errno value.
int FillStandardDescriptors();

// A write to a pipe without a reader, or past the size that files may have here, fails (EPIPE,
// EFBIG) instead of ending the process.
void SurviveFailedWrites();

// How a child ended is kept for us, whatever our caller had set: where SIGCHLD is ignored nobody
// can learn it.
void KeepEndsOfChildren();

// Sets what libraries and children are to find in an environment that was cleaned
// (system/clean_environment.h): PATH and HOME are root's, and the sound library gets its silent
// driver, for no other one is free of files and servers that a user may choose.
void PrepareEnvironment();

}  // namespace tarvex
