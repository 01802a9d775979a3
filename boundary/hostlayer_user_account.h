#pragma once

class HostUserAccount {
 public:
  virtual ~HostUserAccount() = default;
  // True when the process may run diagnostics: effective root, or the capabilities that raw
  // devices need.
  virtual bool HasPrivileges() = 0;
};
