#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelWakeup.hpp"

#include "support/kelRaises.hpp"
#include "support/posix/kelSystemCallsSeam.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace tarvo::test {
namespace {

TEST(WakeupPosix, WithoutAFreeDescriptorIsRefused) {
  SystemCalls calls;
  calls.refuse("eventfd", EMFILE);
  EXPECT_THAT([] { const oss::Wakeup wakeup; },
              Raises<oss::SocketException>("QN_ERR_SOCKET_ERROR", 10024).from("kelWakeup.cpp"));
}

}  // namespace
}  // namespace tarvo::test
