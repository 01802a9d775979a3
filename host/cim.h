#pragma once

#include "boundary/hostlayer_cim.h"

namespace tarvex {

// The management store of a layer that has none: it keeps nothing, and says so by refusing both
// operations with kStoreRefused. Callers treat that as any other failure of the store.
class RefusingCim final : public HostCim {
 public:
  static constexpr int kStoreRefused = 1;

  int WriteRecord(const std::vector<std::string>& keys, const std::vector<std::string>& values,
                  const std::string& className, const std::wstring& nameSpace) override;
  int RemoveNamespace(const std::string& root, const std::string& parent,
                      const std::string& name) override;
};

}  // namespace tarvex
