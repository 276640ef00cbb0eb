#include "infra/oss/kelWakeup.hpp"

#include "oss/kelSocketError.hpp"
#include "platform/kelWakeup.hpp"

namespace tarvo::oss {

// The functions of this file are not traced, because a trace hook may be unsafe in a signal handler.

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
