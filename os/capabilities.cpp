#include "os/capabilities.h"

#include <sys/capability.h>
#include <sys/prctl.h>

#include <cerrno>
#include <memory>
#include <sstream>
#include <system_error>
#include <vector>

namespace tarvex {
namespace {

struct FreeSet {
  void operator()(cap_t set) const { cap_free(set); }
};
using CapabilitySet = std::unique_ptr<_cap_struct, FreeSet>;

std::string ErrorText(const char* what) {
  return std::string(what) + ": " + std::generic_category().message(errno);
}

bool Holds(const CapabilitySet& set, cap_value_t capability, cap_flag_t flag) {
  cap_flag_value_t value = CAP_CLEAR;
  return cap_get_flag(set.get(), capability, flag, &value) == 0 && value == CAP_SET;
}

// The capabilities of `names` that the thread has; false with the reason for a name that is none.
bool Choose(const std::string& names, const CapabilitySet& present,
            std::vector<cap_value_t>& chosen, std::string& fault) {
  std::istringstream words(names);
  for (std::string word; words >> word;) {
    cap_value_t capability = 0;
    if (cap_from_name(word.c_str(), &capability) != 0) {
      fault = "there is no capability " + word;
      return false;
    }
    if (Holds(present, capability, CAP_PERMITTED)) chosen.push_back(capability);
  }
  return true;
}

// What a program that is started could gain. Where we may not take it (EPERM, without
// cap_setpcap), no program can gain it either, once no new privileges are given.
void LimitBounds(const CapabilitySet& kept) {
  for (cap_value_t capability = 0; capability < cap_max_bits(); ++capability) {
    if (!Holds(kept, capability, CAP_PERMITTED)) cap_drop_bound(capability);
  }
}

}  // namespace

std::string KeepCapabilities(const std::string& names) {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return ErrorText("no new privileges");
  const CapabilitySet present(cap_get_proc());
  const CapabilitySet kept(cap_init());
  if (present == nullptr || kept == nullptr) return ErrorText("capabilities");
  std::vector<cap_value_t> chosen;
  std::string fault;
  if (!Choose(names, present, chosen, fault)) return fault;
  const auto count = static_cast<int>(chosen.size());
  for (const cap_flag_t flag : {CAP_PERMITTED, CAP_EFFECTIVE}) {
    cap_set_flag(kept.get(), flag, count, chosen.data(), CAP_SET);
  }
  for (const cap_value_t capability : chosen) {
    if (!Holds(present, capability, CAP_INHERITABLE)) continue;
    cap_set_flag(kept.get(), CAP_INHERITABLE, 1, &capability, CAP_SET);
  }
  LimitBounds(kept);
  if (cap_set_proc(kept.get()) != 0) return ErrorText("capabilities");
  const CapabilitySet left(cap_get_proc());
  if (left == nullptr || cap_compare(left.get(), kept.get()) != 0) return "more capabilities stay";
  return {};
}

void PassOnCapabilities() {
  const CapabilitySet present(cap_get_proc());
  if (present == nullptr) return;
  std::vector<cap_value_t> owned;
  for (cap_value_t capability = 0; capability < cap_max_bits(); ++capability) {
    if (Holds(present, capability, CAP_PERMITTED)) owned.push_back(capability);
  }
  cap_set_flag(present.get(), CAP_INHERITABLE, static_cast<int>(owned.size()), owned.data(),
               CAP_SET);
  if (cap_set_proc(present.get()) != 0) return;
  for (const cap_value_t capability : owned) cap_set_ambient(capability, CAP_SET);
}

}  // namespace tarvex
