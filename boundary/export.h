#pragma once

// Marks what a shared library, or the program itself, shows to the outside. Everything else is
// hidden by the build.
#define TARVEX_EXPORT __attribute__((visibility("default")))
