#include "support/kelTakenPort.hpp"

namespace tarvo::test {

TakenPort::TakenPort() : first_(std::in_place), number_(0) {
  first_->listen(0, 4, false);
  number_ = first_->getPort();
}

// One server takes the port of both families.
TakenPort::TakenPort(unsigned int port) : number_(port) {}

}  // namespace tarvo::test
