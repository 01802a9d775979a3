#pragma once

#include "companions/complete/offer.h"

class OrvanService;

namespace tarvex::complete {

// What is installed here, as the service tells. It takes no lock that a run takes, and leaves
// neither a log nor a file behind. One at a time. Main thread.
class Installed {
 public:
  // Changes the environment of the process.
  Installed();
  ~Installed();
  Installed(const Installed&) = delete;
  Installed& operator=(const Installed&) = delete;

  Offer TheOffer();

 private:
  std::vector<DiagDevice*> Search(DiagModule& module) const;

  OrvanService* service_ = nullptr;
};

}  // namespace tarvex::complete
