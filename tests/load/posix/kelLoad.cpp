// A frame server in a separate process under load: many connections at once, connections without end, and
// peers of every bad kind. Its resources must not grow, and every connection must end as expected.
//
//   kelinfra_load quick|full

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "kelChild.hpp"
#include "kelFigures.hpp"
#include "kelFrame.hpp"
#include "kelReport.hpp"
#include "support/kelPeer.hpp"
#include "support/kelSeed.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <list>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::to_string;
using tarvo::load::Child;
using tarvo::load::Figures;
using tarvo::load::frameOf;
using tarvo::load::payloadOf;
using tarvo::load::require;
using tarvo::load::requireSame;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::test::Peer;
using tarvo::test::seeded;

constexpr int tenths = 10;
constexpr std::size_t wordSize = 4;

/// The amounts of work.
struct Amounts {
  std::size_t clients;
  std::size_t connections;  ///< of each client, at once
  std::size_t churn;        ///< connections of all clients in all
  std::size_t refused;
  std::size_t soak;
};

constexpr Amounts quick = {4, 500, 8000, 2000, 4000};
constexpr Amounts full = {4, 1500, 100'000, 20'000, 40'000};

class Server {
 public:
  explicit Server(const std::vector<std::string>& options = {}) : child_(command(options)) {
    const std::string line = child_.hear();
    require(line.rfind("listening ", 0) == 0, line);
    port_ = static_cast<unsigned int>(std::stoi(line.substr(10)));
  }

  unsigned int port() const { return port_; }

  /// Waits until that number of connections is open, then returns the server's figures.
  Figures figuresWith(std::size_t connections) {
    const std::string line = "open " + to_string(connections);
    requireSame(child_.ask(line), line, "the server");
    return tarvo::load::parseFigures(child_.ask("figures"));
  }

  /// Waits until `count` connections have ended since the last call, and returns their outcomes.
  std::string ended(std::size_t count) { return child_.ask("ended " + to_string(count)); }

 private:
  static std::vector<std::string> command(const std::vector<std::string>& options) {
    std::vector<std::string> all(1, KELINFRA_FRAME_SERVER);
    all.insert(all.end(), options.begin(), options.end());
    return all;
  }

  Child child_;
  unsigned int port_ = 0;
};

/// Client processes that do the same work at the same time.
class Clients {
 public:
  Clients(std::size_t count, const Server& server) {
    for (std::size_t i = 0; i < count; ++i) {
      all_.emplace_back(
          std::vector<std::string>{KELINFRA_LOAD_CLIENT, to_string(server.port()), to_string(i * 1'000'000)});
    }
  }

  void all(const std::string& line, const std::string& answer) {
    for (Child& client : all_) client.say(line);
    for (Child& client : all_) client.expect(answer);
  }

  std::vector<Figures> figures() {
    std::vector<Figures> figures;
    for (Child& client : all_) figures.push_back(tarvo::load::parseFigures(client.ask("figures")));
    return figures;
  }

 private:
  std::list<Child> all_;
};

/// The resources that a process held after each part of the work, mostly after each tenth.
class Course {
 public:
  void add(const Figures& figures) { all_.push_back(figures); }

  const Figures& first() const { return all_.front(); }

  std::string growth() const { return tarvo::load::growth(all_.front(), all_.back()); }

  void requireNoGrowth(const std::string& who) const {
    require(growth().empty(), who + " has grown: " + growth());
  }

  std::string text() const {
    return "descriptors " + change(&Figures::descriptors, 1) + ", threads " + change(&Figures::threads, 1) +
           ", heap " + change(&Figures::heap, 1024) + " KiB, resident " + change(&Figures::resident, 1024) +
           " KiB";
  }

 private:
  std::string change(long Figures::*which, long unit) const {
    return to_string(all_.front().*which / unit) + " -> " + to_string(all_.back().*which / unit);
  }

  std::vector<Figures> all_;
};

// --- many connections -----------------------------------------------------------------------------------

/// Ten waves; in each, all connections are open at once and each is asked several times.
std::string manyAtOnce(const Amounts& amounts, bool groups) {
  constexpr std::size_t rounds = 4;
  const std::size_t count = amounts.clients * amounts.connections;
  Server server(groups ? std::vector<std::string>{"--groups"} : std::vector<std::string>{});
  Clients clients(amounts.clients, server);
  const Figures idle = server.figuresWith(0);
  Course atRest;
  Course atHeight;
  for (int wave = 0; wave < tenths; ++wave) {
    clients.all("connect " + to_string(amounts.connections), "connected " + to_string(amounts.connections));
    const Figures height = server.figuresWith(count);
    atHeight.add(height);
    requireSame(to_string(height.descriptors), to_string(atHeight.first().descriptors), "descriptors");
    requireSame(to_string(height.threads), to_string(atHeight.first().threads), "threads");
    if (!groups) {
      requireSame(to_string(height.descriptors - idle.descriptors), to_string(count), "descriptors");
      requireSame(to_string(height.threads - idle.threads), to_string(count), "threads");
    }
    clients.all("rounds " + to_string(rounds) + " 4000",
                "answered " + to_string(rounds * amounts.connections));
    clients.all("close", "closed " + to_string(amounts.connections));
    requireSame(server.ended(count), "read:ERR_SOCKET_CLOSED " + to_string(count), "connections");
    atRest.add(server.figuresWith(0));
  }
  atRest.requireNoGrowth("the server at rest");
  return to_string(count) + " at once, ten times, " + to_string(tenths * rounds * count) + " frames; " +
         atRest.text() + "; at its height " + atHeight.text();
}

Course churned(Server& server, const Amounts& amounts, std::size_t connects, int parts) {
  Clients clients(amounts.clients, server);
  const std::size_t each = connects / static_cast<std::size_t>(parts) / amounts.clients;
  Course course;
  std::vector<Course> ofClients(amounts.clients);
  for (int part = 0; part < parts; ++part) {
    clients.all("churn " + to_string(each) + " 2000", "answered " + to_string(each));
    const std::size_t count = each * amounts.clients;
    requireSame(server.ended(count), "read:ERR_SOCKET_CLOSED " + to_string(count), "connections");
    course.add(server.figuresWith(0));
    std::size_t client = 0;
    for (const Figures& figures : clients.figures()) ofClients[client++].add(figures);
  }
  for (const Course& client : ofClients) client.requireNoGrowth("a client");
  return course;
}

std::string churn(const Amounts& amounts) {
  Server server;
  const Course course = churned(server, amounts, amounts.churn, tenths);
  course.requireNoGrowth("the server");
  return to_string(amounts.churn) + " connects; " + course.text();
}

std::string refusals(const Amounts& amounts) {
  const tarvo::test::ClosedPort nobody;
  const Server unused;
  Clients client(1, unused);
  const std::size_t each = amounts.refused / tenths;
  Course course;
  for (int tenth = 0; tenth < tenths; ++tenth) {
    client.all("refused " + to_string(each) + " " + to_string(nobody.port()), "refused " + to_string(each));
    course.add(client.figures().front());
  }
  course.requireNoGrowth("the client");
  return to_string(amounts.refused) + " refused connects; " + course.text();
}

/// A server that leaks a little with every tenth connection, to prove that the checks above notice leaks.
std::string leakIsNoticed(const Amounts& amounts, const std::string& kind) {
  Server server({"--leak", kind});
  const Course course = churned(server, amounts, 2000, 2);
  const std::string growth = course.growth();
  require(growth.find(kind + " ") != std::string::npos,
          "not noticed; seen: " + growth + "; " + course.text());
  return growth;
}

// --- peers that break off -------------------------------------------------------------------------------

enum class Break { end, reset };

void breakOff(Peer& peer, Break how) {
  if (how == Break::end) {
    peer.closes();
  } else {
    peer.resets();
  }
}

/// How the server must see a connection end if `count` bytes of a frame came. The missing bytes of a length
/// word that ends within its zeros count as zeros: the frame is empty, and is answered.
std::string expectedEnd(std::size_t count, std::size_t frame, Break how) {
  if (how == Break::reset) return "QN_ERR_SOCKET_CONNECTION_RESET";
  return count < wordSize || count == frame ? "ERR_SOCKET_CLOSED" : "short";
}

/// Any transfer may notice the end: the system of a peer that is gone may respond to the answer with a reset.
bool endedAs(const std::string& outcome, const std::string& expected, bool answered) {
  if (outcome == "read:" + expected + " 1") return true;
  if (!answered) return false;
  return outcome == "write:QN_ERR_SOCKET_CONNECTION_RESET 1" ||
         outcome == "read:QN_ERR_SOCKET_CONNECTION_RESET 1";
}

std::string breaksInRequests(Break how) {
  Server server;
  std::size_t cases = 0;
  Course course;
  for (const std::size_t length : {0U, 1U, 64U, 65U, 64U}) {
    const std::string frame = frameOf(payloadOf(1, length, length));
    for (std::size_t count = 0; count <= frame.size(); ++count, ++cases) {
      Peer peer(Peer::Server{server.port()});
      peer.says(frame.substr(0, count));
      breakOff(peer, how);
      const std::string outcome = server.ended(1);
      const std::string expected = expectedEnd(count, frame.size(), how);
      const bool answered = count == frame.size() || (how == Break::end && count > 0 && count < wordSize);
      require(endedAs(outcome, expected, answered), to_string(count) + " bytes of " +
                                                        to_string(frame.size()) + ": " + outcome +
                                                        " instead of " + expected);
    }
    course.add(server.figuresWith(0));
  }
  course.requireNoGrowth("the server");
  return to_string(cases) + " connections, each with the error due; " + course.text();
}

/// The result of the library's client if only `count` bytes of an answer come.
std::string clientsView(const std::string& frame, std::size_t count, Break how) {
  Peer peer;
  Socket socket;
  socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, nullptr);
  peer.accepts();
  socket.writeMessage("q", 0, 1);
  requireSame(peer.receives(5), frameOf("q"), "the request");
  peer.says(frame.substr(0, count));
  breakOff(peer, how);
  std::string answer(frame.size(), '\0');
  unsigned long long length = 0;
  try {
    const unsigned long long got = socket.readMessage(answer.data(), &length, 0, answer.size(), false);
    require(count < wordSize || frame.compare(wordSize, got, answer, 0, got) == 0, "a damaged answer");
    return to_string(got) + " of " + to_string(length);
  } catch (const SocketException& error) {
    const std::string place = " 127.0.0.1 " + to_string(peer.port());
    std::string text = tarvo::load::textOf(error);
    require(text.size() > place.size() && text.substr(text.size() - place.size()) == place,
            text + " without" + place);
    return text.erase(text.size() - place.size());
  }
}

std::string breaksInAnswers(Break how) {
  constexpr std::size_t length = 64;
  const std::string frame = frameOf(payloadOf(2, 0, length));
  for (std::size_t count = 0; count <= frame.size(); ++count) {
    std::string expected = to_string(count < wordSize ? 0 : count - wordSize) + " of " +
                           to_string(count < wordSize ? 0 : length);
    if (count == 0) expected = "ERR_SOCKET_CLOSED";
    if (how == Break::reset && count < frame.size()) expected = "QN_ERR_SOCKET_CONNECTION_RESET";
    requireSame(clientsView(frame, count, how), expected, to_string(count) + " bytes");
  }
  return to_string(frame.size() + 1) + " answers, each as it came or with the error due";
}

// --- peers that take their time -------------------------------------------------------------------------

void requireAnswer(Peer& peer, const std::string& frame) {
  require(peer.receives(frame.size()) == frame, "an answer differs from its frame");
}

/// Checks that other clients are served in the meantime.
void requireOthersServed(const Server& server) {
  constexpr std::size_t count = 50;
  Clients others(1, server);
  others.all("churn " + to_string(count) + " 1000", "answered " + to_string(count));
}

std::string byteByByte() {
  Server server;
  std::size_t bytes = 0;
  for (const std::size_t length : {0U, 1U, 63U, 1000U, 5000U}) {
    const std::string frame = frameOf(payloadOf(3, length, length));
    Peer peer(Peer::Server{server.port()});
    peer.saysByteByByte(frame);
    for (std::size_t i = 0; i < frame.size(); ++i) {
      require(peer.receives(1) == frame.substr(i, 1), "byte " + to_string(i) + " differs");
    }
    Peer far;
    Socket socket;
    socket.connect(far.host(), far.port(), Socket::NullAddrInfoExternal, nullptr);
    far.accepts();
    std::thread sender([&] { far.saysByteByByte(frame); });
    std::string answer(length, '\0');
    const unsigned long long got = socket.readMessage(answer.data(), nullptr, 0, length, false);
    sender.join();
    require(got == length && frame.compare(wordSize, length, answer) == 0, "an answer differs");
    bytes += 2 * frame.size();
  }
  return to_string(bytes) + " segments of a byte, to the server and to a client";
}

std::string halfClosed() {
  constexpr std::size_t peers = 200;
  constexpr std::size_t frames = 5;
  Server server;
  Course course;
  for (int tenth = 0; tenth < tenths; ++tenth) {
    std::list<Peer> all;
    for (std::size_t i = 0; i < peers; ++i) {
      Peer& peer = all.emplace_back(Peer::Server{server.port()});
      for (std::size_t k = 0; k < frames; ++k) peer.says(frameOf(payloadOf(i, k, 100 + k)));
      peer.shutsDownSending();
    }
    std::size_t number = 0;
    for (Peer& peer : all) {
      std::string expected;
      for (std::size_t k = 0; k < frames; ++k) expected += frameOf(payloadOf(number, k, 100 + k));
      require(peer.receivesAll() == expected, "the answers differ");
      ++number;
    }
    requireSame(server.ended(peers), "read:ERR_SOCKET_CLOSED " + to_string(peers), "connections");
    course.add(server.figuresWith(0));
  }
  course.requireNoGrowth("the server");
  return to_string(tenths * peers) + " peers that had ended their half got every answer; " + course.text();
}

/// Reads only when nothing more can be sent, and then little, so the server mostly waits for this peer.
void readSlowly(const Server& server, std::size_t connection) {
  constexpr std::size_t frames = 20;
  constexpr std::size_t length = 60'000;
  Peer peer(Peer::Server{server.port()}, 4096);
  const int descriptor = static_cast<int>(peer.handle());
  std::string requests;
  for (std::size_t k = 0; k < frames; ++k) requests += frameOf(payloadOf(connection, k, length));
  std::string answers;
  std::size_t sent = 0;
  while (answers.size() < requests.size()) {
    const bool more = sent < requests.size();
    pollfd entry = {descriptor, static_cast<short>(more ? POLLIN | POLLOUT : POLLIN), 0};
    require(::poll(&entry, 1, -1) == 1, "poll");
    if ((entry.revents & POLLOUT) != 0) {
      const ssize_t taken =
          ::send(descriptor, requests.data() + sent, requests.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
      require(taken > 0 || errno == EAGAIN, "the connection broke");
      if (taken > 0) sent += static_cast<std::size_t>(taken);
    } else {
      char piece[97];
      const ssize_t got = ::recv(descriptor, piece, sizeof piece, MSG_DONTWAIT);
      require(got > 0, "the connection ended");
      answers.append(piece, static_cast<std::size_t>(got));
    }
  }
  require(answers == requests, "the answers differ");
}

std::string slowReaders() {
  constexpr std::size_t peers = 12;
  Server server({"--buffers", "8192"});
  std::list<std::string> wrong;
  std::list<std::thread> threads;
  for (std::size_t i = 0; i < peers; ++i) {
    threads.emplace_back([&server, i, &mine = wrong.emplace_back()] {
      try {
        readSlowly(server, i);
      } catch (const std::exception& error) {
        mine = error.what();
      }
    });
  }
  requireOthersServed(server);
  for (std::thread& thread : threads) thread.join();
  for (const std::string& each : wrong) require(each.empty(), each);
  return to_string(peers) + " peers read 1.2 MB each, 97 bytes at a time, beside 50 others";
}

/// Every peer stops at a different byte of its frame, and continues after others have been served.
std::string slowWriters() {
  Server server;
  std::list<Peer> peers;
  const std::string frame = frameOf(payloadOf(4, 0, 300));
  for (std::size_t count = 0; count < frame.size(); ++count) {
    peers.emplace_back(Peer::Server{server.port()}).says(frame.substr(0, count));
  }
  server.figuresWith(frame.size());
  requireOthersServed(server);
  std::size_t count = 0;
  for (Peer& peer : peers) peer.says(frame.substr(count++));
  for (Peer& peer : peers) requireAnswer(peer, frame);
  return to_string(peers.size()) +
         " peers paused in a frame, a byte later each, while 50 others were answered";
}

std::string timeOuts() {
  Server server({"--timeout", "1000", "--buffers", "8192"});
  const std::string frame = frameOf(payloadOf(5, 0, 60));
  std::list<Peer> peers;
  for (std::size_t count = 0; count < frame.size(); ++count) {
    peers.emplace_back(Peer::Server{server.port()}).says(frame.substr(0, count));
  }
  requireSame(server.ended(frame.size()), "read:QN_ERR_SOCKET_TIMEOUT " + to_string(frame.size()),
              "unfinished frames");
  peers.clear();

  // A peer that does not read its answers until the server has closed the connection.
  Peer deaf(Peer::Server{server.port()}, 4096);
  std::string many;
  for (std::size_t k = 0; k < 100; ++k) many += frameOf(payloadOf(6, k, 60'000));
  bool refused = false;
  try {
    deaf.says(many);
  } catch (const std::system_error&) {
    refused = true;
  }
  require(refused, "6 MB of answers went to a peer that reads none");
  requireSame(server.ended(1), "write:QN_ERR_SOCKET_TIMEOUT 1", "a peer that does not read");
  return to_string(frame.size()) +
         " unfinished frames and a peer that does not read, each dropped after its timeout";
}

std::string tooLarge() {
  Server strict({"--capacity", "1000"});
  for (const std::string& word : {std::string("\xFF\xFF\xFF\xFF"), std::string("\0\0\x03\xE9", wordSize)}) {
    Peer peer(Peer::Server{strict.port()});
    peer.says(word);
    requireSame(strict.ended(1), "read:ERR_DEST_BUFFER_TOO_SMALL 1", "a frame that does not fit");
  }
  Server patient({"--capacity", "1000", "--drain"});
  const std::string fits = frameOf(payloadOf(7, 0, 1000));
  Peer peer(Peer::Server{patient.port()});
  for (const std::size_t length : {1001U, 5000U, 3'000'000U}) {
    peer.says(frameOf(payloadOf(7, length, length)) + fits);
    requireAnswer(peer, fits);
  }
  return "ended, or dropped and the next frame answered";
}

/// Peers of every bad kind, one after the other, in random order.
std::string soak(const Amounts& amounts) {
  std::mt19937 random(seeded(8));
  Server server({"--capacity", "4000"});
  Course course;
  for (int tenth = 0; tenth < tenths; ++tenth) {
    const std::size_t count = amounts.soak / tenths;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string frame = frameOf(payloadOf(8, i, random() % 5000));
      Peer peer(Peer::Server{server.port()});
      const std::size_t cut = random() % (frame.size() + 1);
      peer.says(frame.substr(0, cut));
      if (cut == frame.size() && cut <= 4000) requireAnswer(peer, frame);
      breakOff(peer, random() % 2 == 0 ? Break::end : Break::reset);
    }
    server.ended(count);
    course.add(server.figuresWith(0));
  }
  require(course.growth().empty(), "the server has grown: " + course.growth());
  return to_string(amounts.soak) + " connections broken off anywhere; " + course.text();
}

}  // namespace

int main(int count, char** arguments) {
  const std::string mode = count == 2 ? arguments[1] : "";
  if (mode != "quick" && mode != "full") {
    std::fprintf(stderr, "usage: kelinfra_load quick|full\n");
    return 2;
  }
  ::signal(SIGPIPE, SIG_IGN);
  tarvo::test::drawRunSeed();
  ::setenv(tarvo::test::seedVariable, to_string(tarvo::test::runSeed()).c_str(), 1);  // for the clients
  const Amounts& amounts = mode == "quick" ? quick : full;
  tarvo::load::Report report("load");
  report.check("many connections, a thread each", [&] { return manyAtOnce(amounts, false); });
  report.check("many connections, select in groups", [&] { return manyAtOnce(amounts, true); });
  report.check("connections one after the other", [&] { return churn(amounts); });
  report.check("refused connects", [&] { return refusals(amounts); });
  report.check("requests that end at every byte", [] { return breaksInRequests(Break::end); });
  report.check("requests reset at every byte", [] { return breaksInRequests(Break::reset); });
  report.check("answers that end at every byte", [] { return breaksInAnswers(Break::end); });
  report.check("answers reset at every byte", [] { return breaksInAnswers(Break::reset); });
  report.check("a byte at a time", [] { return byteByByte(); });
  report.check("half-closed peers", [] { return halfClosed(); });
  report.check("slow readers", [] { return slowReaders(); });
  report.check("slow writers", [] { return slowWriters(); });
  report.check("timeouts", [] { return timeOuts(); });
  report.check("frames that do not fit", [] { return tooLarge(); });
  report.check("broken connections without end", [&] { return soak(amounts); });
  for (const char* kind : {"descriptors", "threads", "heap"}) {
    report.check(std::string("a server that leaks ") + kind, [&] { return leakIsNoticed(amounts, kind); });
  }
  return report.close();
}
