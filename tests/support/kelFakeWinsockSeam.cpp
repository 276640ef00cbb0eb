#include "support/kelFakeWinsockSeam.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

namespace tarvo::test {
namespace {

using platform::systemWinsock;

constexpr std::array<std::string_view, 25> functions = {
    "WSAStartup",     "WSACleanup", "socket",      "connect",
    "bind",           "listen",     "accept",      "closesocket",
    "select",         "send",       "recv",        "sendNow",
    "recvNow",        "poll",       "shutdown",    "ioctlsocketNonBlocking",
    "setsockopt",     "getsockopt", "getsockname", "getpeername",
    "getaddrinfo",    "wakeAccept", "systemText",  "WSAGetLastError",
    "WSASetLastError"};

std::string text(long long number) {
  return std::to_string(number);
}

std::string join(std::initializer_list<std::string> parts) {
  std::string all;
  for (const std::string& part : parts) all += (all.empty() ? "" : ", ") + part;
  return all;
}

std::string quoted(const char* words) {
  return words == nullptr ? "null" : "\"" + std::string(words) + "\"";
}

// Renders an IPv4 address as "10.0.0.1:80", and any other address as hexadecimal bytes.
std::string addressText(const unsigned char* bytes, std::size_t length) {
  std::string shown;
  if (length == platform::inetAddressSize && bytes[0] == platform::familyInet && bytes[1] == 0) {
    for (std::size_t i = 4; i < 8; ++i) shown += (i > 4 ? "." : "") + text(bytes[i]);
    return shown + ":" + text(bytes[2] * 256 + bytes[3]);
  }
  for (std::size_t i = 0; i < length; ++i) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned int>(bytes[i]));
    shown += digits.data();
  }
  return shown;
}

std::string timeText(const platform::TimeValue* time) {
  return time == nullptr ? "null" : text(time->seconds) + " s " + text(time->microseconds) + " us";
}

template <class Result>
Result failureOf(std::string_view function, int code) {
  if constexpr (std::is_same_v<Result, platform::SocketHandle>) {
    return platform::invalidSocket;
  } else if constexpr (std::is_same_v<Result, int>) {
    return function == "WSAStartup" || function == "getaddrinfo" ? code : platform::socketError;
  } else {
    return Result();
  }
}

}  // namespace

FakeWinsock::FakeWinsock() : former_(platform::currentWinsock) {
  platform::currentWinsock = this;
}

FakeWinsock::~FakeWinsock() {
  platform::currentWinsock = former_;
  for (const auto& [function, failure] : arranged_)
    ADD_FAILURE() << function << " was to fail with " << failure.code << " and was not called";
}

void FakeWinsock::arrange(const std::string& function, int nth, int code) {
  if (std::find(functions.begin(), functions.end(), function) == functions.end())
    throw std::invalid_argument("there is no function " + function);
  const std::lock_guard<std::mutex> lock(mutex_);
  arranged_.emplace(function, Arranged{counts_[function] + nth, code});
}

std::optional<int> FakeWinsock::note(const std::string& function, std::string arguments) {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back({function, std::move(arguments)});
  const int call = ++counts_[function];
  const auto [begin, end] = arranged_.equal_range(function);
  const auto found = std::find_if(begin, end, [&](const auto& entry) { return entry.second.atCall == call; });
  if (found == end) return std::nullopt;
  const int code = found->second.code;
  arranged_.erase(found);
  return code;
}

template <class Result, class... Parameters, class... Arguments>
Result FakeWinsock::answer(const char* function, std::string arguments,
                           const std::function<Result(Parameters...)>& replacement,
                           Result (Winsock::*real)(Parameters...), Arguments&&... given) {
  if (const std::optional<int> code = note(function, std::move(arguments))) {
    systemWinsock().WSASetLastError(*code);
    return failureOf<Result>(function, *code);
  }
  if constexpr (std::is_void_v<Result>) {
    replacement ? replacement(given...) : (systemWinsock().*real)(given...);
    spoilLastError();
  } else {
    const Result result = replacement ? replacement(given...) : (systemWinsock().*real)(given...);
    bool succeeded = true;
    if constexpr (std::is_same_v<Result, SocketHandle>) succeeded = result != platform::invalidSocket;
    if constexpr (std::is_same_v<Result, int>) succeeded = result != platform::socketError;
    if (succeeded) spoilLastError();
    return result;
  }
}

void FakeWinsock::spoilLastError() {
  if (successCode_) systemWinsock().WSASetLastError(*successCode_);
}

int FakeWinsock::fails(int code) {
  systemWinsock().WSASetLastError(code);
  return platform::socketError;
}

platform::SocketHandle FakeWinsock::opensNothing(int code) {
  systemWinsock().WSASetLastError(code);
  return platform::invalidSocket;
}

void FakeWinsock::inventsHandles(SocketHandle first) {
  on.socket = [next = first](int, int, int) mutable { return next++; };
  on.connect = on.bind = [](SocketHandle, const unsigned char*, std::size_t) { return 0; };
  on.listen = [](SocketHandle, unsigned int) { return 0; };
  on.closesocket = [](SocketHandle) { return 0; };
  on.ioctlsocketNonBlocking = [](SocketHandle, unsigned long) { return 0; };
  on.setsockopt = [](SocketHandle, int, int, int) { return 0; };
  on.getsockopt = [](SocketHandle, int, int, int& value) { return value = 0; };
}

std::vector<std::string> FakeWinsock::written(bool withStarts) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> all;
  for (const Call& call : calls_) {
    const bool lastError = call.function == "WSAGetLastError" || call.function == "WSASetLastError";
    const bool start = call.function == "WSAStartup" || call.function == "WSACleanup";
    if (!lastError && (withStarts || !start)) all.push_back(call.function + "(" + call.arguments + ")");
  }
  return all;
}

std::vector<std::string> FakeWinsock::calls() const {
  return written(true);
}

std::vector<std::string> FakeWinsock::steps() const {
  return written(false);
}

int FakeWinsock::countOf(std::string_view function) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(std::count_if(calls_.begin(), calls_.end(),
                                        [&](const Call& call) { return call.function == function; }));
}

void FakeWinsock::forget() {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.clear();
  if (open_.empty()) {
    labels_.clear();
    lastLabel_ = 0;
  }
}

int FakeWinsock::starts() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return starts_;
}

int FakeWinsock::cleanups() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return cleanups_;
}

std::vector<platform::SocketHandle> FakeWinsock::openHandles() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return open_;
}

void FakeWinsock::opened(SocketHandle handle) {
  if (handle == platform::invalidSocket) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  labels_[handle] = ++lastLabel_;
  open_.push_back(handle);
}

void FakeWinsock::closed(SocketHandle handle) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = std::find(open_.begin(), open_.end(), handle);
  if (found != open_.end()) open_.erase(found);
}

std::string FakeWinsock::label(SocketHandle handle) const {
  if (handle == platform::invalidSocket) return "none";
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = labels_.find(handle);
  return found != labels_.end() ? "#" + std::to_string(found->second) : std::to_string(handle);
}

std::string FakeWinsock::label(const SocketSet& set) const {
  std::string shown;
  for (unsigned int i = 0; i < set.count; ++i) shown += (i > 0 ? " " : "") + label(set.handles[i]);
  return "{" + shown + "}";
}

int FakeWinsock::WSAStartup(std::uint16_t version, platform::StartupData& data) {
  const std::string zeroed = data.version == 0 ? "" : ", dirty";
  const int result =
      answer("WSAStartup", text(version) + zeroed, on.WSAStartup, &Winsock::WSAStartup, version, data);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (result == 0) ++starts_;
  if (result == 0 && on.WSAStartup) ++pretendedStarts_;
  return result;
}

// If a replacement answered a start-up, neither the start-up nor its clean-up is passed on to the system,
// because the system counts them.
int FakeWinsock::WSACleanup() {
  std::function<int()> replacement = on.WSACleanup;
  if (!replacement && pretendedStarts_ > 0) {
    --pretendedStarts_;
    replacement = [] { return 0; };
  }
  const int result = answer("WSACleanup", "", replacement, &Winsock::WSACleanup);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (result == 0) ++cleanups_;
  return result;
}

int FakeWinsock::WSAGetLastError() {
  note("WSAGetLastError", "");
  return systemWinsock().WSAGetLastError();
}

void FakeWinsock::WSASetLastError(int code) {
  note("WSASetLastError", text(code));
  systemWinsock().WSASetLastError(code);
}

platform::SocketHandle FakeWinsock::socket(int family, int type, int protocol) {
  const SocketHandle handle = answer("socket", join({text(family), text(type), text(protocol)}), on.socket,
                                     &Winsock::socket, family, type, protocol);
  opened(handle);
  return handle;
}

int FakeWinsock::connect(SocketHandle handle, const unsigned char* address, std::size_t length) {
  return answer("connect", join({label(handle), addressText(address, length)}), on.connect, &Winsock::connect,
                handle, address, length);
}

int FakeWinsock::bind(SocketHandle handle, const unsigned char* address, std::size_t length) {
  return answer("bind", join({label(handle), addressText(address, length)}), on.bind, &Winsock::bind, handle,
                address, length);
}

int FakeWinsock::listen(SocketHandle handle, unsigned int backlog) {
  return answer("listen", join({label(handle), text(backlog)}), on.listen, &Winsock::listen, handle, backlog);
}

platform::SocketHandle FakeWinsock::accept(SocketHandle listening) {
  const SocketHandle handle = answer("accept", label(listening), on.accept, &Winsock::accept, listening);
  opened(handle);
  return handle;
}

void FakeWinsock::wakeAccept(SocketHandle listening) {
  answer("wakeAccept", label(listening), on.wakeAccept, &Winsock::wakeAccept, listening);
}

int FakeWinsock::closesocket(SocketHandle handle) {
  const std::string arguments = label(handle);
  // Forget the handle first: once the system has closed it, another thread may get the same number.
  closed(handle);
  return answer("closesocket", arguments, on.closesocket, &Winsock::closesocket, handle);
}

int FakeWinsock::select(SocketSet& read, SocketSet& write, SocketSet& error,
                        const platform::TimeValue* timeout) {
  return answer("select", join({label(read), label(write), label(error), timeText(timeout)}), on.select,
                &Winsock::select, read, write, error, timeout);
}

int FakeWinsock::send(SocketHandle handle, const char* bytes, int length) {
  return answer("send", join({label(handle), text(length)}), on.send, &Winsock::send, handle, bytes, length);
}

int FakeWinsock::recv(SocketHandle handle, char* bytes, int length) {
  return answer("recv", join({label(handle), text(length)}), on.recv, &Winsock::recv, handle, bytes, length);
}

int FakeWinsock::sendNow(SocketHandle handle, const char* bytes, int length) {
  return answer("sendNow", join({label(handle), text(length)}), on.sendNow, &Winsock::sendNow, handle, bytes,
                length);
}

int FakeWinsock::recvNow(SocketHandle handle, char* bytes, int length) {
  return answer("recvNow", join({label(handle), text(length)}), on.recvNow, &Winsock::recvNow, handle, bytes,
                length);
}

int FakeWinsock::poll(platform::PollEntry* entries, std::size_t count, long long milliseconds) {
  std::string shown;
  for (std::size_t i = 0; i < count; ++i)
    shown += (i > 0 ? " " : "") + label(entries[i].handle) + ":" + text(entries[i].wanted);
  return answer("poll", join({"{" + shown + "}", text(milliseconds)}), on.poll, &Winsock::poll, entries,
                count, milliseconds);
}

int FakeWinsock::shutdown(SocketHandle handle, int how) {
  return answer("shutdown", join({label(handle), text(how)}), on.shutdown, &Winsock::shutdown, handle, how);
}

int FakeWinsock::ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) {
  return answer("ioctlsocketNonBlocking", join({label(handle), text(static_cast<long long>(mode))}),
                on.ioctlsocketNonBlocking, &Winsock::ioctlsocketNonBlocking, handle, mode);
}

int FakeWinsock::setsockopt(SocketHandle handle, int level, int option, int value) {
  return answer("setsockopt", join({label(handle), text(level), text(option), text(value)}), on.setsockopt,
                &Winsock::setsockopt, handle, level, option, value);
}

int FakeWinsock::getsockopt(SocketHandle handle, int level, int option, int& value) {
  return answer("getsockopt", join({label(handle), text(level), text(option)}), on.getsockopt,
                &Winsock::getsockopt, handle, level, option, value);
}

int FakeWinsock::getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) {
  return answer("getsockname", join({label(handle), text(static_cast<long long>(length))}), on.getsockname,
                &Winsock::getsockname, handle, address, length);
}

int FakeWinsock::getpeername(SocketHandle handle, unsigned char* address, std::size_t& length) {
  return answer("getpeername", join({label(handle), text(static_cast<long long>(length))}), on.getpeername,
                &Winsock::getpeername, handle, address, length);
}

int FakeWinsock::getaddrinfo(const char* node, const char* service, const platform::AddressHints& hints,
                             std::vector<platform::ResolvedAddress>& list) {
  return answer("getaddrinfo",
                join({quoted(node), quoted(service), text(hints.flags), text(hints.family),
                      text(hints.socketType), text(hints.protocol)}),
                on.getaddrinfo, &Winsock::getaddrinfo, node, service, hints, list);
}

std::string FakeWinsock::systemText(int code) {
  return answer("systemText", text(code), on.systemText, &Winsock::systemText, code);
}

platform::ResolvedAddress inetAddress(const char* text, unsigned int port) {
  std::array<unsigned int, 4> parts{};
  if (std::sscanf(text, "%u.%u.%u.%u", &parts[0], &parts[1], &parts[2], &parts[3]) != 4)
    throw std::invalid_argument(text);
  platform::ResolvedAddress address{0, platform::familyInet, platform::typeStream, 6, {}, ""};
  address.address = {platform::familyInet, 0, static_cast<unsigned char>(port >> 8),
                     static_cast<unsigned char>(port)};
  for (const unsigned int part : parts) address.address.push_back(static_cast<unsigned char>(part));
  address.address.resize(platform::inetAddressSize);
  return address;
}

platform::ResolvedAddress inet6Address(const std::vector<unsigned char>& bytes, unsigned int port) {
  platform::ResolvedAddress address{0, platform::familyInet6, platform::typeStream, 6, {}, ""};
  address.address = {platform::familyInet6,
                     0,
                     static_cast<unsigned char>(port >> 8),
                     static_cast<unsigned char>(port),
                     0,
                     0,
                     0,
                     0};
  address.address.insert(address.address.end(), bytes.begin(), bytes.end());
  address.address.resize(platform::inet6AddressSize);
  return address;
}

}  // namespace tarvo::test
