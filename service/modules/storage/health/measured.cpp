#include "service/modules/storage/health/measured.h"

#include <array>
#include <cstdint>

#include "service/modules/storage/ata/attribute_names.h"
#include "service/modules/storage/health/attributes.h"

namespace orvan::storage {
namespace {

using Measurements = std::vector<sdk::Measurement>;

bool IsLetterOrDigit(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9');
}

const char* UnitOf(ata::RawForm form) {
  using ata::RawForm;
  switch (form) {
    case RawForm::kTemperature:
    case RawForm::kTenths:
      return "C";
    case RawForm::kHours:
    case RawForm::kLongHours:
    case RawForm::kMinutes:
    case RawForm::kHalfMinutes:
    case RawForm::kSeconds:
      return "h";
    default:
      return "";
  }
}

// Attributes that stand for what other drives tell by a name of its own, the likelier one first.
struct CommonName {
  std::uint8_t id;
  const char* name;
  const char* unit;
};
constexpr std::array kCommonNames = {
    CommonName{194, "temperature", "C"},
    CommonName{190, "temperature", "C"},
    CommonName{9, "power-on-hours", "h"},
};

void AddCommonNames(const AtaHealth& health, Measurements& measured) {
  const ata::Identify& identity = health.identity;
  const char* last = nullptr;
  for (const CommonName& row : kCommonNames) {
    const ata::Attribute* attribute = health.data.Find(row.id);
    if (attribute == nullptr || (last != nullptr && std::string_view(last) == row.name)) continue;
    const ata::RawForm form = ata::MeaningOf(row.id, identity.model, identity.isRotating).form;
    if (std::string_view(UnitOf(form)) != row.unit) continue;
    last = row.name;
    measured.push_back(
        {row.name, static_cast<double>(ata::ReadRaw(form, attribute->raw).number), row.unit});
  }
}

// A threshold that the standard lets be passed: 00h always is, FEh and FFh are none.
bool IsLimit(std::uint8_t threshold) {
  return ata::IsValidValue(threshold);
}

Measurements OfAttributes(const AtaHealth& health) {
  Measurements measured;
  AddCommonNames(health, measured);
  for (const ata::Attribute& one : health.data.attributes) {
    const ata::AttributeMeaning meaning =
        ata::MeaningOf(one.id, health.identity.model, health.identity.isRotating);
    const std::string name = "smart-" + std::to_string(one.id) + '-' + MeasuredName(meaning.name);
    const std::int64_t raw = ata::ReadRaw(meaning.form, one.raw).number;
    measured.push_back({name, static_cast<double>(raw), UnitOf(meaning.form)});
    sdk::Measurement& value = measured.emplace_back(
        sdk::Measurement{name + "-value", static_cast<double>(one.value), ""});
    if (!health.thresholds) continue;
    const std::optional<std::uint8_t> threshold = health.thresholds->byId[one.id];
    if (threshold && IsLimit(*threshold)) {
      value.limits = {{sdk::Limit::Kind::kGreaterThan, static_cast<double>(*threshold)}};
    }
  }
  return measured;
}

}  // namespace

std::string MeasuredName(std::string_view name) {
  std::string made;
  for (char byte : name) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    if (IsLetterOrDigit(byte)) {
      made += byte;
    } else if (!made.empty() && made.back() != '-') {
      made += '-';
    }
  }
  if (!made.empty() && made.back() == '-') made.pop_back();
  return made;
}

Measurements MeasuredOf(const DriveHealth& health) {
  if (const auto* ata = std::get_if<AtaHealth>(&health.told)) return OfAttributes(*ata);
  Measurements measured;
  for (const HealthAttribute& one : AttributesOf(health)) {
    if (!one.number) continue;
    measured.push_back({MeasuredName(one.name), *one.number, one.unit});
  }
  return measured;
}

}  // namespace orvan::storage
