#include "host/cim.h"

namespace tarvex {

int RefusingCim::WriteRecord(const std::vector<std::string>& /*keys*/,
                             const std::vector<std::string>& /*values*/,
                             const std::string& /*className*/, const std::wstring& /*nameSpace*/) {
  return kStoreRefused;
}

int RefusingCim::RemoveNamespace(const std::string& /*root*/, const std::string& /*parent*/,
                                 const std::string& /*name*/) {
  return kStoreRefused;
}

}  // namespace tarvex
