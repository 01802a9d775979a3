#pragma once

// Kept by the front end, which calls none of its operations.
class HostTimeHandler {
 public:
  virtual ~HostTimeHandler() = default;
};
