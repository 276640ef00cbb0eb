// A client and a server in two network namespaces, and every fault that a network between them can have.
// Transfers arrive intact or fail with the expected error, timeouts are kept, and nothing hangs.
//
//   kelinfra_netfaults CLIENT-NAMESPACE SERVER-NAMESPACE

#include "kelChild.hpp"
#include "kelPacketRelay.hpp"
#include "kelReport.hpp"
#include "support/kelProcess.hpp"
#include "support/kelSeed.hpp"

#include <signal.h>

#include <cstdio>
#include <list>
#include <sstream>
#include <string>
#include <vector>

namespace {

using std::to_string;
using tarvo::load::Child;
using tarvo::load::require;
using tarvo::load::requireSame;
using tarvo::netfaults::Fates;
using tarvo::netfaults::Faults;
using tarvo::netfaults::PacketRelay;

const std::string clientAddress = "10.77.0.1";
const std::string serverAddress = "10.77.0.2";
/// An additional address in the server's namespace. Each check chooses what the packet filter does with
/// packets to this address.
const std::string filteredAddress = "10.77.0.3";

std::vector<std::string> words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> all;
  for (std::string word; in >> word;) all.push_back(word);
  return all;
}

std::vector<std::string> inside(const std::string& space, std::vector<std::string> command) {
  const std::vector<std::string> enter = {"ip", "netns", "exec", space};
  command.insert(command.begin(), enter.begin(), enter.end());
  return command;
}

void run(const std::string& space, const std::string& line) {
  const auto result = tarvo::test::runProcess(inside(space, words(line)));
  require(result.status == 0, line + ": " + result.err);
}

/// How a call of the client ended.
struct Outcome {
  std::string text;
  long milliseconds;
};

class Client {
 public:
  explicit Client(const std::string& space) : child_(inside(space, {KELINFRA_FAULT_CLIENT})) {}

  void say(const std::string& line) { child_.say(line); }

  Outcome hear() {
    const std::string line = child_.hear();
    const std::size_t end = line.rfind(" after ");
    require(end != std::string::npos, line);
    return {line.substr(0, end), std::stol(line.substr(end + 7))};
  }

  Outcome ask(const std::string& line) {
    say(line);
    return hear();
  }

  /// Returns the milliseconds that the call took.
  long expect(const std::string& line, const std::string& text) {
    const Outcome outcome = ask(line);
    requireSame(outcome.text, text, line);
    return outcome.milliseconds;
  }

 private:
  Child child_;
};

/// The two namespaces, the link between them, and a packet filter in each.
class Network {
 public:
  Network(const std::string& client, const std::string& server, unsigned int seed)
      : clientSpace_(client), serverSpace_(server), relay_(client, server, seed) {
    run(client, "ip address add " + clientAddress + "/24 dev wire");
    run(server, "ip address add " + serverAddress + "/24 dev wire");
    run(server, "ip address add " + filteredAddress + "/24 dev wire");
    for (const std::string& space : {client, server}) {
      run(space, "ip link set wire up");
      run(space, "nft add table inet faults");
      run(space, "nft add chain inet faults input { type filter hook input priority 0 ; }");
    }
  }

  const std::string& clientSpace() const { return clientSpace_; }
  const std::string& serverSpace() const { return serverSpace_; }
  PacketRelay& relay() { return relay_; }

  void filter(const std::string& rule) { run(serverSpace_, "nft add rule inet faults input " + rule); }

  void linkDown() { run(clientSpace_, "ip link set wire down"); }
  void linkUp() { run(clientSpace_, "ip link set wire up"); }

  /// A setting of TCP in one of the namespaces.
  static void tune(const std::string& space, const std::string& name, const std::string& value) {
    const std::string file = "/proc/sys/net/ipv4/" + name;
    const auto result = tarvo::test::runProcess(inside(space, {"sh", "-c", "echo " + value + " > " + file}));
    require(result.status == 0, file + ": " + result.err);
  }

  /// Removes every fault.
  void heal() {
    relay_.set({});
    linkUp();
    run(serverSpace_, "nft flush chain inet faults input");
    for (const std::string& space : {clientSpace_, serverSpace_}) {
      tune(space, "tcp_retries2", "15");
      tune(space, "tcp_syn_retries", "6");
    }
  }

 private:
  std::string clientSpace_;
  std::string serverSpace_;
  PacketRelay relay_;
};

class Server {
 public:
  explicit Server(const Network& network, const std::vector<std::string>& options = {})
      : child_(inside(network.serverSpace(), command(options))) {
    const std::string line = child_.hear();
    require(line.rfind("listening ", 0) == 0, line);
    port_ = line.substr(10);
  }

  const std::string& port() const { return port_; }
  std::string place(const std::string& address) const { return address + " " + port_; }
  std::string place() const { return place(serverAddress); }
  std::string ended(std::size_t count) { return child_.ask("ended " + to_string(count)); }

 private:
  static std::vector<std::string> command(const std::vector<std::string>& options) {
    std::vector<std::string> all = {KELINFRA_FRAME_SERVER, "--capacity", "4000000"};
    all.insert(all.end(), options.begin(), options.end());
    return all;
  }

  Child child_;
  std::string port_;
};

/// The system counts timeouts in ticks, and may count the first tick as a whole one although it is
/// incomplete.
void requireLasted(long milliseconds, long timeout, const std::string& what) {
  constexpr long tick = 10;
  require(milliseconds >= timeout - tick,
          what + " ended after " + to_string(milliseconds) + " of " + to_string(timeout) + " ms");
}

// --- a bad link --------------------------------------------------------------------------------------------

std::string fateText(const Fates& fates) {
  return to_string(fates.delivered) + " packets delivered, " + to_string(fates.lost) + " lost, " +
         to_string(fates.duplicated) + " duplicated, " + to_string(fates.reordered) + " overtaken, " +
         to_string(fates.damaged) + " damaged";
}

/// Checks that every requested fault has happened.
void requireHappened(const Faults& faults, const Fates& fates) {
  require(faults.loss == 0 || fates.lost > 0, "nothing was lost");
  require(faults.duplicate == 0 || fates.duplicated > 0, "nothing was duplicated");
  require(faults.reorder == 0 || fates.reordered > 0, "nothing was overtaken");
  require(faults.damage == 0 || fates.damaged > 0, "nothing was damaged");
}

/// Several clients run at the same time. The server sends every frame back, and the client compares it.
std::string transfers(Network& network, const Faults& faults, std::size_t clients) {
  constexpr std::size_t frames = 30;
  constexpr std::size_t length = 20'000;
  Server server(network);
  network.relay().set(faults);
  std::list<Client> all;
  for (std::size_t i = 0; i < clients; ++i) {
    all.emplace_back(network.clientSpace()).say("connect " + server.place() + " 60000");
  }
  for (Client& client : all) {
    requireSame(client.hear().text, "connected", "connect");
    client.say("transfer " + to_string(frames) + " " + to_string(length));
  }
  for (Client& client : all) {
    requireSame(client.hear().text, "transferred " + to_string(frames * length), "a transfer");
    client.expect("close", "closed");
  }
  requireSame(server.ended(clients), "read:ERR_SOCKET_CLOSED " + to_string(clients), "the server");
  requireHappened(faults, network.relay().fates());
  return to_string(clients) + " times " + to_string(frames * length) + " bytes intact; " +
         fateText(network.relay().fates());
}

std::string delay(Network& network) {
  constexpr long way = 60;
  Server server(network);
  Client client(network.clientSpace());
  Faults faults;
  faults.delay = std::chrono::milliseconds(way);
  network.relay().set(faults);
  const long connected = client.expect("connect " + server.place() + " 60000", "connected");
  require(connected >= 2 * way, "connected within " + to_string(connected) + " ms");
  const long answered = client.expect("transfer 1 100", "transferred 100");
  require(answered >= 2 * way, "answered within " + to_string(answered) + " ms");
  client.expect("transfer 20 50000", "transferred 1000000");
  return to_string(way) + " ms each way: connected in " + to_string(connected) + ", answered in " +
         to_string(answered) + " ms, and 1 MB intact";
}

// --- nobody answers ----------------------------------------------------------------------------------------

std::string blackHole(Network& network) {
  constexpr long timeout = 300;
  Server server(network);
  Client client(network.clientSpace());
  network.filter("ip daddr " + filteredAddress + " drop");
  const std::string place = server.place(filteredAddress);
  const long took =
      client.expect("connect " + place + " " + to_string(timeout), "failed ERR_SOCKET_TIMEOUT " + place);
  require(took >= timeout, "gave up after " + to_string(took) + " ms");
  // The socket is not connected and can connect again.
  client.expect("connect " + server.place() + " 60000", "connected");
  client.expect("transfer 1 100", "transferred 100");
  return "connect gave up after " + to_string(took) + " of " + to_string(timeout) + " ms";
}

std::string systemGivesUpConnecting(Network& network) {
  Server server(network);
  Client client(network.clientSpace());
  Network::tune(network.clientSpace(), "tcp_syn_retries", "1");
  network.filter("ip daddr " + filteredAddress + " drop");
  const std::string place = server.place(filteredAddress);
  const long took = client.expect("connect " + place + " none", "failed QN_ERR_SOCKET_TIMEOUT " + place);
  return "without a timeout of the client the system gave up after " + to_string(took) + " ms";
}

/// The link drops all packets, or goes down, in the middle of an answer: the read times out. When the link
/// works again, the rest of the answer arrives.
template <class Break, class Mend>
std::string readInterrupted(Network& network, const Break& breakLink, const Mend& mendLink) {
  constexpr long timeout = 1500;
  constexpr std::size_t length = 2'000'000;
  Server server(network);
  Client client(network.clientSpace());
  client.expect("connect " + server.place() + " 60000", "connected");
  client.expect("timeout " + to_string(timeout), "set");
  Faults slow;
  slow.delay = std::chrono::milliseconds(20);
  network.relay().set(slow);
  client.expect("begin " + to_string(length), "sent");
  client.say("rest");
  network.relay().awaitDelivered(200);
  breakLink();
  const Outcome outcome = client.hear();
  requireSame(outcome.text, "failed QN_ERR_SOCKET_TIMEOUT " + server.place(), "a read");
  requireLasted(outcome.milliseconds, timeout, "a read");
  mendLink();
  client.expect("timeout 60000", "set");
  client.expect("rest", "answered " + to_string(length));
  client.expect("transfer 3 1000", "transferred 3000");
  return "the read gave up (" + to_string(outcome.milliseconds) +
         " ms in all); with the link back the rest of " + to_string(length) + " bytes arrived intact";
}

std::string writeIntoTheDark(Network& network) {
  constexpr long timeout = 300;
  Server server(network, {"--timeout", "3000"});
  Client client(network.clientSpace());
  client.expect("connect " + server.place() + " 60000", "connected");
  client.expect("timeout " + to_string(timeout), "set");
  Faults dark;
  dark.dark = true;
  network.relay().set(dark);
  const long took = client.expect("flood 50000000", "failed QN_ERR_SOCKET_TIMEOUT " + server.place());
  requireLasted(took, timeout, "a write");
  requireSame(server.ended(1), "read:QN_ERR_SOCKET_TIMEOUT 1", "the server, which waited for a frame");
  return "the client's write gave up after " + to_string(took) + " ms, the server's read, too";
}

/// The client sets no timeout: the system's limit on unanswered packets, shortened here, ends the transfer.
/// The server may be receiving at that time; the system has no time limit for that.
std::string systemGivesUpSending(Network& network) {
  Server server(network, {"--timeout", "10000"});
  Client client(network.clientSpace());
  client.expect("connect " + server.place() + " 60000", "connected");
  for (const std::string& space : {network.clientSpace(), network.serverSpace()}) {
    Network::tune(space, "tcp_retries2", "2");
  }
  Faults slow;
  slow.delay = std::chrono::milliseconds(20);
  network.relay().set(slow);
  client.say("transfer 300 50000");
  network.relay().awaitDelivered(200);
  Faults dark;
  dark.dark = true;
  network.relay().set(dark);
  const Outcome outcome = client.hear();
  // The system reports the error once. If the reader and the writer both fail, the later one finds the
  // connection closed.
  const std::string timeout = "QN_ERR_SOCKET_TIMEOUT " + server.place();
  const std::string gone = "QN_ERR_SOCKET_CONNECTION_RESET " + server.place();
  require(outcome.text == "failed " + timeout + " and " + gone ||
              outcome.text == "failed " + gone + " and " + timeout,
          "the client: " + outcome.text);
  const std::string ended = server.ended(1);
  require(ended == "write:QN_ERR_SOCKET_TIMEOUT 1" || ended == "read:QN_ERR_SOCKET_TIMEOUT 1",
          "the server: " + ended);
  return "the system gave the connection up after " + to_string(outcome.milliseconds) + " ms";
}

// --- refusals ----------------------------------------------------------------------------------------------

std::string refusals(Network& network) {
  struct Case {
    const char* answer;
    const char* error;
  };
  const Case cases[] = {
      {"tcp reset", "QN_ERR_SOCKET_CONNECTION_REFUSED"},
      {"icmp type port-unreachable", "QN_ERR_SOCKET_CONNECTION_REFUSED"},
      {"icmp type net-unreachable", "QN_ERR_SOCKET_ERROR 10051"},
      {"icmp type host-unreachable", "QN_ERR_SOCKET_ERROR 10065"},
      {"icmp type admin-prohibited", "QN_ERR_SOCKET_ERROR 10065"},
  };
  Server server(network);
  const std::string place = server.place(filteredAddress);
  for (const Case& each : cases) {
    network.heal();
    network.filter("ip daddr " + filteredAddress + " meta l4proto tcp reject with " + each.answer);
    Client client(network.clientSpace());
    client.expect("connect " + place + " 60000", std::string("failed ") + each.error + " " + place);
    client.expect("connect " + server.place() + " 60000", "connected");
  }
  return "each of " + to_string(std::size(cases)) +
         " answers with its error, and the socket connects elsewhere";
}

std::string noRoute(Network& network) {
  Server server(network);
  run(network.clientSpace(), "ip route replace unreachable 10.78.0.0/24");
  run(network.clientSpace(), "ip route replace prohibit 10.79.0.0/24");
  std::size_t count = 0;
  for (const char* const address : {"192.0.2.1", "10.78.0.1", "10.79.0.1", "2001:db8::1"}) {
    const std::string place = server.place(address);
    Client client(network.clientSpace());
    client.expect("connect " + place + " 60000", "failed ERR_SOCKET_NOT_CONNECTED " + place);
    client.expect("either " + std::string(address) + " " + server.place() + " 60000", "connected");
    client.expect("transfer 1 100", "transferred 100");
    ++count;
  }
  return to_string(count) +
         " addresses that cannot be reached at all; the next address of a list is then tried";
}

std::string resetByTheFilter(Network& network) {
  Server server(network);
  Client client(network.clientSpace());
  client.expect("connect " + server.place() + " 60000", "connected");
  client.expect("transfer 2 1000", "transferred 2000");
  network.filter("tcp dport " + server.port() + " reject with tcp reset");
  const std::string error = "QN_ERR_SOCKET_CONNECTION_RESET " + server.place();
  client.expect("transfer 300 50000", "failed " + error + " and " + error);
  return "reader and writer learn of the reset";
}

/// For an established connection, "unreachable" is a temporary error.
std::string unreachableForNow(Network& network) {
  Server server(network);
  Client client(network.clientSpace());
  client.expect("connect " + server.place() + " 60000", "connected");
  network.filter("tcp dport " + server.port() + " counter reject with icmp type host-unreachable");
  client.say("transfer 20 20000");
  network.relay().awaitDelivered(4);
  network.heal();
  requireSame(client.hear().text, "transferred 400000", "a transfer");
  return "the transfer arrived intact once the way was free";
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "see the head of kelNetFaults.cpp\n");
    return 2;
  }
  ::signal(SIGPIPE, SIG_IGN);
  tarvo::test::drawRunSeed();
  Network network(arguments[1], arguments[2], tarvo::test::seeded(1));
  tarvo::load::Report report("netfaults");
  const auto check = [&](const std::string& title, const auto& body) {
    report.check(title, [&] {
      network.heal();
      return body();
    });
  };

  Faults loss;
  loss.loss = 5;
  Faults reorder;
  reorder.reorder = 20;
  Faults duplicate;
  duplicate.duplicate = 20;
  Faults damage;
  damage.damage = 3;
  Faults everything = {2, 10, 10, 1, std::chrono::milliseconds(5), false};
  check("a clean link", [&] { return transfers(network, {}, 4); });
  check("loss", [&] { return transfers(network, loss, 4); });
  check("packets overtaken", [&] { return transfers(network, reorder, 4); });
  check("packets duplicated", [&] { return transfers(network, duplicate, 4); });
  check("packets damaged", [&] { return transfers(network, damage, 4); });
  check("all of it, and delay", [&] { return transfers(network, everything, 12); });
  check("delay", [&] { return delay(network); });
  check("a black hole, connecting", [&] { return blackHole(network); });
  check("a black hole, connecting without a timeout", [&] { return systemGivesUpConnecting(network); });
  check("a link that goes dark in the middle of a read", [&] {
    Faults dark;
    dark.dark = true;
    return readInterrupted(
        network, [&] { network.relay().set(dark); }, [&] { network.heal(); });
  });
  check("a link that goes down in the middle of a read", [&] {
    return readInterrupted(
        network, [&] { network.linkDown(); }, [&] { network.heal(); });
  });
  check("writing into the dark", [&] { return writeIntoTheDark(network); });
  check("a dark link and no timeout", [&] { return systemGivesUpSending(network); });
  check("connections turned away", [&] { return refusals(network); });
  check("no way there", [&] { return noRoute(network); });
  check("a reset by the packet filter", [&] { return resetByTheFilter(network); });
  check("unreachable for a while", [&] { return unreachableForNow(network); });
  return report.close();
}
