// How a call of the library is answered.
#ifndef ORBA_SIM_ANSWER_H
#define ORBA_SIM_ANSWER_H

#include "sim/device.h"

namespace sim {

// By the real system when there is no device; otherwise by the device, unless
// this is a call that is to fail.
template <typename Real, typename Simulated>
auto answer(const char *call, Real real, Simulated simulated) -> decltype(real()) {
  using R = decltype(real());
  Device *device = Device::current();
  if (device == nullptr) return real();
  Faults &faults = device->faults();
  Faults::Course course = faults.next(call);
  if (course == Faults::kFail) return faults.failure().template as<R>();
  R result = simulated(*device);
  return course == Faults::kWorkAndFail ? faults.failure().template as<R>() : result;
}

// For calls that the real system answers on a device too.
template <typename Real>
auto answer(const char *call, Real real) -> decltype(real()) {
  return answer(call, real, [&](Device &) { return real(); });
}

}  // namespace sim

#endif
