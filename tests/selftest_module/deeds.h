#pragma once

#include <map>
#include <string>
#include <vector>

#include "service/sdk/verdict.h"

namespace selftest {

// What a test, a scan or a tool does to the process it runs in. Only what a module can do by
// itself: none of it needs anything of a context.
struct Deed {
  const char* name;  // with hyphens
  // Does it, and comes back where it can. `file` is the setting "selftest/file".
  void (*commit)(const std::string& file);
};

// All of them, in a lasting order.
const std::vector<Deed>& Deeds();
// Commits the deed of that name; none for an empty name. Throws std::out_of_range for a name that
// is none.
void Commit(const std::string& name, const std::string& file);

}  // namespace selftest
