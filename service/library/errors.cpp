#include "boundary/orvan_service_errors.h"

#include <typeinfo>

// The types of the service's exceptions belong to what the library shows; the code that throws them
// lies in static libraries, whose symbols stay hidden.
extern const std::type_info* const kShownTypes[];
const std::type_info* const kShownTypes[] = {&typeid(InvalidAppKey),
                                             &typeid(FailedToVisitLocalCache)};
