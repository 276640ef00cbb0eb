#include "infra/oss/kelMessage.hpp"

#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

using oss::Message;

TEST(Message, RendersIdentifierTextAndArgumentsOnOneLine) {
  Message message(u"X", u"bad", Message::LEVEL_ERROR);
  message.addArgument(u"a");
  icu::UnicodeString line;
  EXPECT_EQ(utf8(message.toString(line)), "X: [bad] - [a]");
}

}  // namespace
}  // namespace tarvo::test
