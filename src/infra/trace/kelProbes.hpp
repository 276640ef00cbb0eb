#pragma once

#include "infra/trace/kelProbeNames.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The table of all probes of the library. A probe is the number that the library passes to the trace
/// facility to identify a function.
///
/// The high half of every probe is 0x1CD8; the low half is the number of the function. All constructors of a
/// class share one number, and all overloads of a function share one number. Each class has a block of
/// numbers. The numbers are frozen because hosts depend on them: an entry is never removed or changed.
/// `probe("Class::function")` looks a number up at compile time: a name that is not in the table does not
/// compile, and neither does a table with a number outside the block of its class.
///
/// The functions of kelProbeNames.hpp return this table, and scripts/probes writes share/kelinfra/probes.json
/// from it.
namespace tarvo::trace {

using Probe = std::uint32_t;

inline constexpr Probe probeBase = 0x1CD80000;

struct ProbeBlock {
  std::string_view className;
  std::uint16_t first;
  std::uint16_t last;
};

struct ProbeEntry {
  std::string_view function;  ///< "Class::function"
  std::uint16_t number;
  ProbeReports reports = ProbeReports::ENTRY_AND_EXIT;

  constexpr std::string_view className() const { return function.substr(0, function.find("::")); }
};

inline constexpr std::array<ProbeBlock, 12> probeBlocks = {{
    {"ByteArrayOutputStream", 0x5E6, 0x5E7},
    {"ByteBuffer", 0x5E8, 0x5EC},
    {"Converter", 0x5ED, 0x5F0},
    {"DataBuffer", 0x5F1, 0x5FE},
    {"UTF8Iterator", 0x5FF, 0x603},
    {"StringTokenizer", 0x604, 0x60A},
    {"SocketServer", 0x60B, 0x613},
    {"Socket", 0x614, 0x631},
    {"(unassigned)", 0x632, 0x635},
    {"MessageList", 0x636, 0x63E},
    {"Formatter", 0x63F, 0x645},
    {"Poller", 0x646, 0x64A},
}};

/// The library does not use this number, which is in the block of `Socket`.
inline constexpr std::uint16_t unassignedSocketNumber = 0x623;

inline constexpr ProbeReports exitOnly = ProbeReports::EXIT_ONLY;
inline constexpr ProbeReports either = ProbeReports::EITHER;

inline constexpr auto probeTable = std::to_array<ProbeEntry>({
    {"ByteArrayOutputStream::ByteArrayOutputStream", 0x5E6, exitOnly},
    {"ByteArrayOutputStream::write", 0x5E7},

    {"ByteBuffer::ByteBuffer", 0x5E8, exitOnly},
    {"ByteBuffer::append", 0x5E9},
    {"ByteBuffer::set", 0x5EA},
    {"ByteBuffer::clear", 0x5EB, either},  // the destructor shares it
    {"ByteBuffer::operator=", 0x5EC},

    {"Converter::convert", 0x5ED},
    {"Converter::convertData", 0x5EE},  // the implementation that both byte overloads share
    {"Converter::setDebug", 0x5EF},
    {"Converter::convertToBytes", 0x5F0},

    {"DataBuffer::DataBuffer", 0x5F1, exitOnly},
    {"DataBuffer::~DataBuffer", 0x5F2, exitOnly},
    {"DataBuffer::appendString", 0x5F3},
    {"DataBuffer::insertString", 0x5F4},
    {"DataBuffer::appendNumber", 0x5F5},
    {"DataBuffer::appendBinary", 0x5F6},
    {"DataBuffer::decodeBinary", 0x5F7},
    {"DataBuffer::clear", 0x5F8},

    {"UTF8Iterator::UTF8Iterator", 0x5FF, exitOnly},
    {"UTF8Iterator::~UTF8Iterator", 0x600, exitOnly},
    {"UTF8Iterator::takeText", 0x601},
    {"UTF8Iterator::getFirstChar", 0x602, exitOnly},
    {"UTF8Iterator::getNextChar", 0x603, exitOnly},

    {"StringTokenizer::StringTokenizer", 0x604, exitOnly},
    {"StringTokenizer::~StringTokenizer", 0x605, exitOnly},
    {"StringTokenizer::tokenize", 0x606},
    {"StringTokenizer::getFirstToken", 0x607, exitOnly},
    {"StringTokenizer::getNextToken", 0x608, exitOnly},
    {"StringTokenizer::getFirstTokenString", 0x609, exitOnly},
    {"StringTokenizer::getNextTokenString", 0x60A, exitOnly},

    {"SocketServer::SocketServer", 0x60B, exitOnly},
    {"SocketServer::~SocketServer", 0x60C, exitOnly},
    {"SocketServer::listen", 0x60D},
    {"SocketServer::accept", 0x60E},
    {"SocketServer::close", 0x60F},
    {"SocketServer::queryPort", 0x610},
    {"SocketServer::setReceiveBufferSize", 0x611},
    {"SocketServer::setSendBufferSize", 0x612},
    {"SocketServer::setReuseAddress", 0x613},

    {"Socket::Socket", 0x614, exitOnly},
    {"Socket::~Socket", 0x615, exitOnly},
    {"Socket::connect", 0x616},
    {"Socket::close", 0x617},
    {"Socket::select", 0x618},
    {"Socket::readOnce", 0x619},
    {"Socket::read", 0x61A},
    {"Socket::write", 0x61B},
    {"Socket::readMessage", 0x61C},
    {"Socket::writeMessage", 0x61D},
    {"Socket::setNonBlocking", 0x61E},
    {"Socket::setNoDelay", 0x61F},
    {"Socket::setTimeout", 0x620},
    {"Socket::shutdownBoth", 0x621},
    {"Socket::shutdownReceive", 0x622},
    {"Socket::shutdownSend", 0x624},
    {"Socket::getSocketError", 0x625},
    {"Socket::startWinsock", 0x626},
    {"Socket::socketError", 0x627},  // the mapping of a Winsock code to an exception
    {"Socket::resolveAddrInfo", 0x628},
    {"Socket::decodeAddrInfo", 0x629},
    {"Socket::readWithin", 0x62A},
    {"Socket::writeWithin", 0x62B},
    {"Socket::readMessageWithin", 0x62C},
    {"Socket::writeMessageWithin", 0x62D},
    {"Socket::writeOnce", 0x62E},
    {"Socket::peerHost", 0x62F},
    {"Socket::peerPort", 0x630},
    {"Socket::connectFirst", 0x631},

    {"MessageList::MessageList", 0x636, exitOnly},
    {"MessageList::addMessage", 0x638},
    {"MessageList::insertMessage", 0x639},
    {"MessageList::join", 0x63A},
    {"MessageList::getFirstMsg", 0x63C, exitOnly},
    {"MessageList::getNextMsg", 0x63D, exitOnly},
    {"MessageList::clear", 0x63E},  // the destructor shares it

    {"Formatter::numberToString", 0x63F},   // the four integer-to-text functions
    {"Formatter::stringToInteger", 0x640},  // the four text-to-integer functions
    {"Formatter::stringToDouble", 0x641},
    {"Formatter::int64ToHexLiteral", 0x642},
    {"Formatter::setSettings", 0x643},
    {"Formatter::localeCode", 0x644},
    {"Formatter::consoleCodePageName", 0x645},

    {"Poller::Poller", 0x646, exitOnly},
    {"Poller::~Poller", 0x647, exitOnly},
    {"Poller::watch", 0x648},
    {"Poller::forget", 0x649},
    {"Poller::wait", 0x64A},
});

consteval Probe probe(std::string_view function) {
  for (const ProbeEntry& entry : probeTable) {
    if (entry.function == function) return probeBase + entry.number;
  }
  throw "no such probe";  // reached only at compile time: an unknown name is a compile error
}

/// Returns whether no call with this number reports an entry.
consteval bool reportsOnlyItsExit(Probe probe) {
  for (const ProbeEntry& entry : probeTable) {
    if (probeBase + entry.number == probe) return entry.reports == exitOnly;
  }
  throw "no such probe";
}

namespace detail {

constexpr bool blocksFollowOneAnother() {
  for (std::size_t i = 1; i < probeBlocks.size(); ++i) {
    if (probeBlocks[i].first != probeBlocks[i - 1].last + 1) return false;
  }
  return probeBlocks.front().first == 0x5E6 && probeBlocks.back().last == 0x64A;
}

constexpr bool liesInItsBlock(const ProbeEntry& entry) {
  for (const ProbeBlock& block : probeBlocks) {
    if (block.className == entry.className())
      return block.first <= entry.number && entry.number <= block.last;
  }
  return false;
}

constexpr bool everyProbeLiesInItsBlock() {
  for (const ProbeEntry& entry : probeTable) {
    if (!liesInItsBlock(entry) || entry.number == unassignedSocketNumber) return false;
  }
  return true;
}

constexpr bool numbersRise() {
  for (std::size_t i = 1; i < probeTable.size(); ++i) {
    if (probeTable[i].number <= probeTable[i - 1].number) return false;
  }
  return true;
}

static_assert(blocksFollowOneAnother());
static_assert(everyProbeLiesInItsBlock());
static_assert(numbersRise());

static_assert(probe("ByteArrayOutputStream::ByteArrayOutputStream") == 483919334);
static_assert(probe("ByteArrayOutputStream::write") == 483919335);
static_assert(probe("MessageList::MessageList") == 483919414);
static_assert(probe("MessageList::addMessage") == 483919416);
static_assert(probe("MessageList::insertMessage") == 483919417);
static_assert(probe("MessageList::join") == 483919418);
static_assert(probe("MessageList::getFirstMsg") == 483919420);
static_assert(probe("MessageList::getNextMsg") == 483919421);
static_assert(probe("MessageList::clear") == 483919422);

}  // namespace detail
}  // namespace tarvo::trace
