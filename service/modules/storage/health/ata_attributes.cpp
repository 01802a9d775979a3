#include "service/modules/storage/ata/attribute_names.h"
#include "service/modules/storage/health/attributes.h"

namespace orvan::storage {

HealthAttributes AttributesOf(const AtaHealth& health) {
  HealthAttributes list;
  for (const ata::Attribute& one : health.data.attributes) {
    const ata::AttributeMeaning meaning =
        ata::MeaningOf(one.id, health.identity.model, health.identity.isRotating);
    HealthAttribute& attribute = list.emplace_back();
    attribute.id = one.id;
    attribute.name = meaning.name;
    if (health.thresholds && health.thresholds->byId[one.id]) {
      attribute.threshold = std::to_string(*health.thresholds->byId[one.id]);
    }
    attribute.value = std::to_string(one.value);
    attribute.worst = std::to_string(one.worst);
    attribute.data = ata::ReadRaw(meaning.form, one.raw).text;
  }
  return list;
}

}  // namespace orvan::storage
