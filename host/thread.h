#pragma once

#include "boundary/hostlayer_thread.h"

namespace tarvex {

class Thread final : public HostThread {
 public:
  int Start(HostThreadHandle* handle, int reserved, HostThreadFunction function, void* argument,
            const char* name) override;
  void Join(HostThreadHandle handle) override;
  void AfterStart(HostThreadHandle handle, int reserved) override;
};

}  // namespace tarvex
