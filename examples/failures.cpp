// Provokes the failures that a program on a network meets, and shows how each arrives.

#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "documentService.hpp"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace {

using tarvo::oss::BaseException;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;

constexpr const char* loopback = "127.0.0.1";
constexpr unsigned long long patience = 10'000;

void step(const std::string& text) {
  std::cout << "    " << text << std::endl;
}

/// A server, a client of it, and the connection's two ends.
struct Pair {
  Pair() {
    server.listen(0, 1, false);
    client.connect(loopback, server.getPort(), Socket::NullAddrInfoExternal, &patience);
    server.accept(accepted, &patience);
    step("a client is connected to a server at port " + std::to_string(server.getPort()));
  }
  SocketServer server;
  Socket client;
  Socket accepted;
};

/// Returns when something has arrived.
void awaitArrival(const Socket& socket) {
  std::list<Socket> read(1, socket);
  std::list<Socket> nothing;
  Socket::select(read, nothing, nothing, &patience);
}

void refusedPort() {
  SocketServer server;
  server.listen(0, 1, false);
  const unsigned int port = server.getPort();
  server.close();
  step("a client connects to port " + std::to_string(port) + ", whose server has just been closed");
  Socket client;
  client.connect(loopback, port, Socket::NullAddrInfoExternal, &patience);
}

void resetInTheMiddle() {
  Pair pair;
  documents::sendFrame(pair.client, "a request that the server never reads");
  awaitArrival(pair.accepted);
  const char frameOf1000[] = {0, 0, 3, -24, 'o', 'n', 'l', 'y', ' ', 't', 'h', 'i', 's'};
  pair.accepted.write(frameOf1000, 0, sizeof frameOf1000);
  step("the server announces a frame of 1000 bytes and sends 9 of them");
  pair.accepted.close();
  step("the server closes with the request unread, which resets the connection");
  documents::FrameBuffer buffer(1000);
  documents::receiveFrame(pair.client, buffer);
}

void frameAboveTheLimit() {
  Pair pair;
  documents::sendFrame(pair.accepted, std::string(5000, 'x'));
  documents::sendFrame(pair.accepted, "a small frame");
  step("the server sends a frame of 5000 bytes and a small one; the client takes 1000 bytes at most");
  documents::FrameBuffer buffer(1000);
  try {
    documents::receiveFrame(pair.client, buffer);
  } catch (const SocketException&) {
    step("the client goes on with the next frame: \"" +
         std::string(documents::receiveFrame(pair.client, buffer)) + "\"");
    throw;
  }
}

void silence() {
  constexpr unsigned int milliseconds = 300;
  Pair pair;
  documents::sendFrame(pair.client, "a request");
  step("the client waits " + std::to_string(milliseconds) + " ms for an answer, and the server gives none");
  pair.client.setTimeout(milliseconds);
  documents::FrameBuffer buffer(1000);
  documents::receiveFrame(pair.client, buffer);
}

void unknownHost() {
  constexpr const char* name = "no-such-host.invalid";
  step(std::string("a client connects to the host ") + name);
  Socket client;
  client.connect(name, 80, Socket::NullAddrInfoExternal, &patience);
}

struct Failure {
  std::string_view name;
  const char* title;
  void (*provoke)();
  documents::ExitStatus status;
};

constexpr Failure failures[] = {
    {"refused", "a port at which nobody listens", refusedPort, documents::statusRefused},
    {"reset", "a reset in the middle of a frame", resetInTheMiddle, documents::statusConnectionLost},
    {"limit", "a frame above the limit", frameAboveTheLimit, documents::statusFrameTooLarge},
    {"timeout", "an answer that does not come", silence, documents::statusTimeOut},
    {"unknown-host", "a host that nobody knows", unknownHost, documents::statusUnknownHost},
};

/// Shows one failure and returns the status that it ends a program with.
int show(const Failure& failure) {
  std::cout << "== " << failure.name << ": " << failure.title << std::endl;
  int status = documents::statusOk;
  try {
    failure.provoke();
    std::cout << "Nothing failed.\n";
  } catch (BaseException& error) {
    documents::explain(std::cout, error.getErrorMessage());
    status = documents::statusOf(error.getErrorMessage());
  }
  std::cout << "    status   " << status
            << (status == failure.status ? ", as documented" : ", NOT AS DOCUMENTED") << '\n'
            << std::endl;
  return status;
}

int showAll() {
  const auto asDocumented =
      std::count_if(std::begin(failures), std::end(failures),
                    [](const Failure& failure) { return show(failure) == failure.status; });
  std::cout << asDocumented << " of " << std::size(failures) << " failures arrived as documented\n";
  return static_cast<std::size_t>(asDocumented) == std::size(failures) ? documents::statusOk
                                                                       : documents::statusOther;
}

void printUsage(std::ostream& out) {
  out << "Usage: failures [NAME]\n"
         "Provokes the named failure, shows how it arrives, and ends with its status. Without a name it "
         "shows\n"
         "all of them and ends with 0 when each arrived as documented, otherwise with 7.\n"
         "\n";
  for (const Failure& failure : failures) {
    out << "  " << failure.name << std::string(14 - failure.name.size(), ' ') << failure.title << '\n';
  }
  out << '\n' << documents::exitStatusHelp;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return showAll();
  if (arguments.size() == 1 && arguments.front() == "--help") {
    printUsage(std::cout);
    return documents::statusOk;
  }
  const auto* const failure =
      std::find_if(std::begin(failures), std::end(failures),
                   [&](const Failure& each) { return each.name == arguments.front(); });
  if (arguments.size() != 1 || failure == std::end(failures)) {
    printUsage(std::cerr);
    return documents::statusUsage;
  }
  return show(*failure);
}

}  // namespace

int main(int argc, char** argv) {
  return documents::guarded(run, argc, argv);
}
