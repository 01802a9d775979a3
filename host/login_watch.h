#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tarvex {

// Called with a message and a parameter of boundary/hostlayer_system_events.h.
using SystemEventSink = std::function<void(std::uint32_t message, std::uint32_t parameter)>;

// Watches the login manager on the bus at `busSocket` and passes its events to `sink`, on the
// calling thread, until `stopDescriptor` is readable. A bus that is not there or gets lost is tried
// again after 0.25 s, then after twice as long each time up to 30 s.
//
// Meanwhile a delay inhibitor keeps a shutdown waiting until `sink` has returned from the event,
// for as long as the login manager allows.
void WatchLogin(int stopDescriptor, const std::string& busSocket, const SystemEventSink& sink);

}  // namespace tarvex
