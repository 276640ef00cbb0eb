#include "platform/windows/kelLoopbackPair.hpp"
#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <list>
#include <string>

namespace tarvo::test {
namespace {

using platform::WakeupHandles;
using platform::windows::openLoopbackPair;

constexpr unsigned int aMinute = 60'000;

std::list<Peer> strangers;
std::string saidByStrangers;
std::size_t strangersToCome = 0;

void connectStrangers(unsigned short port) {
  for (std::size_t i = 0; i < strangersToCome; ++i) {
    Peer& stranger = strangers.emplace_back(Peer::Server{port});
    if (!saidByStrangers.empty()) stranger.says(saidByStrangers);
  }
}

class LoopbackPair : public testing::Test {
 protected:
  void SetUp() override {
    platform::StartupData data;
    ASSERT_EQ(system().WSAStartup(platform::winsockVersion, data), 0);
  }
  void TearDown() override {
    strangers.clear();
    EXPECT_EQ(system().WSACleanup(), 0);
  }

  static void close(const WakeupHandles& handles) {
    system().closesocket(handles.waiting);
    system().closesocket(handles.triggering);
  }

  /// Opens a pair while strangers come first, and checks that what one end sends arrives at the other.
  static void expectPairDespite(std::size_t count, const std::string& said) {
    strangersToCome = count;
    saidByStrangers = said;
    WakeupHandles handles;
    ASSERT_EQ(openLoopbackPair(handles, aMinute, &connectStrangers), 0);
    EXPECT_EQ(system().send(handles.triggering, "!", 1), 1);
    awaitBytes(handles.waiting, 1);
    char byte = 0;
    EXPECT_EQ(system().recv(handles.waiting, &byte, 1), 1);
    EXPECT_EQ(byte, '!');
    for (Peer& stranger : rowsOf(strangers)) {
      char answer = 0;
      EXPECT_LE(system().recv(stranger.handle(), &answer, 1), 0);  // closed or reset
    }
    close(handles);
    strangers.clear();
  }
};

TEST_F(LoopbackPair, IsConnected) {
  expectPairDespite(0, "");
}

TEST_F(LoopbackPair, IgnoresAStrangerThatConnectsFirst) {
  expectPairDespite(1, "");
}

TEST_F(LoopbackPair, IgnoresAStrangerThatSendsAsManyBytes) {
  expectPairDespite(1, std::string(16, 'x'));
}

TEST_F(LoopbackPair, IgnoresMoreStrangersThanItKeepsCandidates) {
  expectPairDespite(40, "");
}

TEST_F(LoopbackPair, HasANonBlockingEndOfEachKind) {
  WakeupHandles handles;
  ASSERT_EQ(openLoopbackPair(handles, aMinute, nullptr), 0);
  for (const SocketHandle handle : rowsOf({handles.waiting, handles.triggering})) {
    char byte = 0;
    EXPECT_EQ(system().recv(handle, &byte, 1), platform::socketError);
    EXPECT_EQ(lastError(), platform::wsa::wouldBlock);
  }
  close(handles);
}

TEST_F(LoopbackPair, IsGivenUpAfterTheTimeLimitWithoutOpenHandles) {
  WakeupHandles handles;
  ASSERT_EQ(openLoopbackPair(handles, aMinute, nullptr), 0);  // the first use opens further handles
  close(handles);
  const std::size_t before = openDescriptors();
  EXPECT_EQ(openLoopbackPair(handles, 0, nullptr), platform::wsa::timedOut);
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace tarvo::test
