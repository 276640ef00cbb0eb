#include "infra/oss/kelWakeup.hpp"

#include "oss/kelSocketError.hpp"
#include "platform/kelWakeup.hpp"

namespace tarvo::oss {

// Nothing here is traced: a trace hook need not be safe inside a signal handler.

Wakeup::Wakeup() {
  platform::WakeupHandles handles;
  if (const int code = platform::openWakeup(handles); code != 0) raiseMapped(code, {});
  waiting_ = handles.waiting;
  triggering_ = handles.triggering;
}

Wakeup::~Wakeup() {
  platform::closeWakeup({waiting_, triggering_});
}

void Wakeup::trigger() noexcept {
  platform::triggerWakeup({waiting_, triggering_});
}

void Wakeup::clear() noexcept {
  platform::clearWakeup({waiting_, triggering_});
}

unsigned long long Wakeup::handle() const noexcept {
  return waiting_;
}

}  // namespace tarvo::oss
