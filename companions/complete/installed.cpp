#include "companions/complete/installed.h"

#include <chrono>
#include <cstdlib>
#include <future>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_user_account.h"
#include "boundary/orvan_service.h"

namespace tarvex::complete {
namespace {

// How long somebody who has pressed a key waits for devices; what was found by then is shown.
constexpr std::chrono::seconds kPatience{2};

// A folder that can neither be nor be made.
constexpr char kNowhere[] = "/dev/null/none";

bool MaySearch() {
  HostUserAccount* account = CreatUserAccountInstance();
  if (account == nullptr) return false;
  const bool may = account->HasPrivileges();
  ReleaseUserAccountInstance(account);
  return may;
}

}  // namespace

Installed::Installed() {
  // A key that asks for words must not write over a recording, nor leave a log of its own.
  unsetenv("ORVAN_RECORD");
  setenv("TARVEX_STATE_DIR", kNowhere, 1);
  service_ = GetOrvanServiceInstance();
}

Installed::~Installed() {
  ReleaseOrvanServiceInstance();
}

Offer Installed::TheOffer() {
  Offer offer;
  offer.devicesOf = [this](DiagModule& module) { return Search(module); };
  if (service_ == nullptr) return offer;
  const std::vector<DiagModule*>* modules = service_->LoadModules(0);
  if (modules != nullptr) offer.modules = *modules;
  return offer;
}

std::vector<DiagDevice*> Installed::Search(DiagModule& module) const {
  if (!MaySearch()) return {};
  const std::future<void> search =
      std::async(std::launch::async, [&module] { module.ScanDevices(); });
  if (search.wait_for(kPatience) != std::future_status::ready) service_->AbortExecution();
  search.wait();
  const std::vector<DiagDevice*>* devices = module.GetDevices();
  return devices == nullptr ? std::vector<DiagDevice*>() : *devices;
}

}  // namespace tarvex::complete
