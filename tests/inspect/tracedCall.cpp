#include "trace/kelTrace.hpp"

// What a traced call adds, with nothing else in it; inspect.sh counts its instructions.
extern "C" void tracedCall();
extern "C" void tracedCall() {
  tarvo::trace::traced<tarvo::trace::probe("MessageList::clear")>([] {});
}
