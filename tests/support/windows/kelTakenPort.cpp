#include "support/kelTakenPort.hpp"

namespace tarvo::test {

TakenPort::TakenPort() : first_(std::in_place), second_(std::in_place), number_(0) {
  first_->listen(0, 4, false);
  number_ = first_->getPort();
  second_->listen(number_, 4, false);
}

TakenPort::TakenPort(unsigned int port) : second_(std::in_place), number_(port) {
  second_->listen(port, 4, false);
}

}  // namespace tarvo::test
