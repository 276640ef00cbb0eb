#include "trace/kelTrace.hpp"

// The cost of a traced call with an empty body; inspect.sh counts its instructions.
extern "C" void tracedCall();
extern "C" void tracedCall() {
  tarvo::trace::traced<tarvo::trace::probe("MessageList::clear")>([] {});
}
