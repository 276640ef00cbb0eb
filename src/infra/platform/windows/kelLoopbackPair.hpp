#pragma once

#include "platform/kelWakeup.hpp"

namespace tarvo::platform::windows {

/// Called with the port of the listener before this process connects to it. Tests connect a stranger here.
using BeforeConnect = void (*)(unsigned short port);

/// Opens two connected, non-blocking sockets on the loopback address. No other program has one of the two
/// ends: the listener is exclusive, and this process sends a random number and uses only the connection on
/// which this number arrives. While the function runs, any program of the machine can connect to the
/// listener. Such connections are closed. Returns 0 or a Winsock code; `timedOut` if other programs keep the
/// listener busy for `patience` milliseconds.
int openLoopbackPair(WakeupHandles& handles, unsigned int patience, BeforeConnect beforeConnect) noexcept;

}  // namespace tarvo::platform::windows
