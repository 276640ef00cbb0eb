#include "reception.hpp"

#include "infra/oss/kelSocketException.hpp"

#include "documentService.hpp"
#include "stopSignals.hpp"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

namespace documents {

using std::chrono::milliseconds;
using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;

namespace {

/// How often the server looks whether it is to stop. A signal handler cannot wake it.
constexpr milliseconds glance(200);
/// How long it waits when it can neither take nor refuse a client, unless one that is there leaves.
constexpr milliseconds pause(1000);

/// Whether no further client can be expected: the time for one is over, or the listening socket itself has
/// failed.
bool endsReception(const Message& message) {
  const std::string identifier = utf8(message.getMessageID());
  if (identifier == "ERR_SOCKET_TIMEOUT" || identifier == "ERR_SOCKET_NOT_LISTENING") return true;
  if (identifier != "QN_ERR_SOCKET_ERROR") return false;
  const std::string code = utf8(message.getMessageArgs().front());
  return code == "10022" || code == "10038";
}

}  // namespace

Reception::Reception(const Settings& settings, std::string anyFile, Screen& screen)
    : settings_(settings),
      screen_(screen),
      clients_([this](Socket& socket, unsigned long long number) {
        converse(socket, number, settings_, screen_);
      }),
      reserveName_(std::move(anyFile)) {}

void Reception::run(unsigned long long wanted) {
  listener_.listen(settings_.port, settings_.backlog, true);
  screen_.say("listening on ", listener_.getPort());
  lastCame_ = Clock::now();
  try {
    while (!stopRequested() && (wanted == 0 || started_ < wanted)) takeNext();
  } catch (...) {
    // Those who came are served to their end. The status then says why no other was taken.
    finish();
    throw;
  }
  finish();
}

void Reception::takeNext() {
  clients_.removeDone();  // also frees the memory of those who left while no other came
  try {
    takeOrRefuse();
  } catch (const std::system_error& error) {
    screen_.say("a client was refused: no thread could be made for it. ", error.what());
  } catch (const std::bad_alloc& error) {
    refuseWaiting(error.what());
  }
}

void Reception::takeOrRefuse() {
  if (!reserve_.is_open()) reserve_.open(reserveName_);
  try {
    Socket& client = clients_.nextSocket();
    if (!cameTo(client)) return;
    clients_.removeDone();
    if (clients_.count() >= settings_.clientLimit) {
      refuse(client, "there are as many clients as server.clients allows");
    } else {
      clients_.serveNext(started_ + 1);
      ++started_;
    }
  } catch (BaseException& error) {
    const Message& message = error.getErrorMessage();
    if (endsReception(message)) throw;
    icu::UnicodeString line;
    refuseWaiting(utf8(message.toString(line)).c_str());
  }
}

/// Waits a short time for a client. False: none came yet.
bool Reception::cameTo(Socket& socket) {
  const milliseconds limit(settings_.acceptTimeout);
  const auto idle = std::chrono::duration_cast<milliseconds>(Clock::now() - lastCame_);
  milliseconds wait = glance;
  if (limit.count() != 0) wait = std::clamp(limit - idle, milliseconds(0), glance);
  const auto timeout = static_cast<unsigned long long>(wait.count());
  try {
    listener_.accept(socket, &timeout);
  } catch (SocketException& error) {
    if (error.getErrorMessage().getMessageID() != "ERR_SOCKET_TIMEOUT") throw;
    if (limit.count() != 0 && idle + wait >= limit) throw;
    return false;
  }
  lastCame_ = Clock::now();
  return true;
}

/// The client who waits could not be accepted. Tries once more with the reserve.
void Reception::refuseWaiting(const char* reason) {
  reserve_.close();
  const unsigned long long timeout = 0;
  try {
    listener_.accept(refused_, &timeout);
    refuse(refused_, reason);
  } catch (const std::exception&) {
    screen_.say("no client can be taken or refused now: ", reason);
    clients_.waitForDeparture(pause);
  }
}

void Reception::refuse(Socket& client, const char* reason) {
  client.close();
  screen_.say("a client was refused: ", reason);
}

void Reception::finish() {
  listener_.close();
  std::optional<Clock::time_point> deadline;
  for (clients_.removeDone(); clients_.count() > 0; clients_.removeDone()) {
    if (stopRequested() && !deadline) {
      deadline = Clock::now() + milliseconds(settings_.stopTimeout);
      screen_.say("stopping: ", clients_.count(), " clients have ", settings_.stopTimeout,
                  " milliseconds to finish");
    }
    if (deadline && Clock::now() >= *deadline) cutOff();
    clients_.waitForDeparture(glance);
  }
  sayEnd();
}

/// Ends the process. A thread that waits for its client or computes an answer cannot be interrupted on every
/// platform, but it ends with the process, and so does the connection.
void Reception::cutOff() {
  screen_.say("stopping: ", clients_.count(), " clients are cut off");
  sayEnd();
  std::_Exit(statusOk);
}

void Reception::sayEnd() {
  screen_.say(stopRequested() ? "stopped: " : "", "served ", started_, " clients");
}

}  // namespace documents
