#pragma once

#include <cstdint>
#include <string>

class HostNumberHandler {
 public:
  virtual ~HostNumberHandler() = default;
  virtual void Reserved1() {}
  virtual void Reserved2() {}
  virtual void Reserved3() {}
  virtual void Reserved4() {}
  virtual void Reserved5() {}
  virtual void Reserved6() {}
  virtual void Reserved7() {}
  virtual void Reserved8() {}
  // The decimal text of the value.
  virtual std::string NumberToString(std::int64_t value) = 0;
};
