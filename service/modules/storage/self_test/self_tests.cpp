#include "service/modules/storage/self_test/self_tests.h"

namespace orvan::storage {

std::unique_ptr<SelfTests> SelfTestsOf(DriveLink& link) {
  switch (link.Protocol()) {
    case DriveProtocol::kAta:
      return MakeAtaSelfTests(link);
    case DriveProtocol::kScsi:
      return MakeScsiSelfTests(link);
    case DriveProtocol::kNvme:
      return MakeNvmeSelfTests(link);
    case DriveProtocol::kNone:
      break;
  }
  return nullptr;
}

}  // namespace orvan::storage
