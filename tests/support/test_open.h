#pragma once

#include <functional>

// What another process does in the moment after this thread's next opening of a file for writing;
// then none. For a test program that links test_open.cpp.
inline thread_local std::function<void()> afterOpen;  // NOLINT(cert-err58-cpp)
