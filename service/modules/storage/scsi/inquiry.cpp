#include "service/modules/storage/scsi/inquiry.h"

namespace orvan::storage::scsi {
namespace {

constexpr std::size_t kLeastBytes = 36;

}  // namespace

Decoded<StandardInquiry> DecodeStandardInquiry(Bytes answer) {
  if (answer.size() < kLeastBytes) {
    return Distrusted<StandardInquiry>(ShortAnswer(answer.size(), kLeastBytes));
  }
  if (IsAll(answer, 0xFF)) return Distrusted<StandardInquiry>("the answer is all ones");
  // The length counts what stands behind it.
  const std::size_t said = 5U + answer[4];
  if (said < kLeastBytes) {
    return Distrusted<StandardInquiry>("the device says that " + std::to_string(said) +
                                       " bytes of it are data, " + std::to_string(kLeastBytes) +
                                       " are the least");
  }
  StandardInquiry inquiry;
  inquiry.qualifier = answer[0] >> 5;
  inquiry.deviceType = answer[0] & 0x1F;
  inquiry.isRemovable = (answer[1] & 0x80) != 0;
  inquiry.version = answer[2];
  inquiry.vendor = DeviceText(Part(answer, 8, 8));
  inquiry.product = DeviceText(Part(answer, 16, 16));
  inquiry.revision = DeviceText(Part(answer, 32, 4));
  return {inquiry, ""};
}

}  // namespace orvan::storage::scsi
