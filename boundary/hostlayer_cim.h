#pragma once

#include <string>
#include <vector>

// The record store (docs/records.md), under the names that system management gives such a store:
// CIM here and in `get_cim`, WMI in the options "--wmi" and "--remove-wmi". It has namespaces,
// classes, and instances with text properties.
class HostCim {
 public:
  virtual ~HostCim() = default;
  virtual void Reserved1() {}
  virtual void Reserved2() {}
  // Adds an instance with the properties keys[i] = values[i], creating namespace and class when
  // they are missing. 0 on success.
  virtual int WriteRecord(const std::vector<std::string>& keys,
                          const std::vector<std::string>& values, const std::string& className,
                          const std::wstring& nameSpace) = 0;
  // Removes the namespace `name` under root\parent with all that it holds. 0 on success.
  virtual int RemoveNamespace(const std::string& root, const std::string& parent,
                              const std::string& name) = 0;
};
