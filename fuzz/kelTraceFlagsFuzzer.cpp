#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/trace/kelTraceFacility.hpp"

#include "kelFuzz.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Nested traced calls, some of which end with an error, while every hook changes the flag word. The records
/// are compared with those of a model that knows only the order of the calls and the meaning of the flags.
namespace {

using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::oss::ByteBuffer;
using tarvo::oss::Message;
using tarvo::oss::MessageList;
using tarvo::trace::Probe;
using tarvo::trace::probe;

// --- what hooks do

enum class Hook : std::uint8_t { dispatchEntry, dispatchExit, traceEntry, traceExit, flightRecord };

struct Record {
  Hook hook;
  Probe probe;

  friend bool operator==(const Record&, const Record&) = default;
};

/// The words that the flags take, one after each record.
using Script = std::vector<std::uint32_t>;

/// Combines the bits that have a meaning, and optionally all others, which have no effect.
std::uint32_t wordOf(unsigned int byte) {
  constexpr std::array<std::uint32_t, 5> bits = {0x1, 0x2, 0x80, 0x20000, 0x40000};
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if ((byte >> i & 1) != 0) word |= bits[i];
  }
  return (byte & 0x20) != 0 ? word | ~std::uint32_t{0x600B3} : word;
}

class Host {
 public:
  /// The functions that `absent` selects are missing from the facility, so they are not called.
  Host(Script script, unsigned int absent) : script_(std::move(script)) {
    current = this;
    flags_.fill(0xFFFFFFFF);
    flags_[tarvo::trace::componentIndex] = script_[0];
    tarvo::trace::Facility facility;
    facility.componentTraceFlags = flags_.data();
    if ((absent & 1) == 0) facility.diagDispatchEntry = &note<Hook::dispatchEntry>;
    if ((absent & 2) == 0) facility.diagDispatchExit = &note<Hook::dispatchExit>;
    if ((absent & 4) == 0) facility.traceEntry = &note<Hook::traceEntry>;
    if ((absent & 8) == 0)
      facility.traceExit = [](Probe number, int code) {
        expect(code == 0, "the return code of an exit");
        note<Hook::traceExit>(number);
      };
    if ((absent & 16) == 0)
      facility.traceFlightRecord = [](Probe number, int a, int b, int c) {
        expect(a == 0 && b == 0 && c == 0, "the further arguments of a flight record");
        note<Hook::flightRecord>(number);
      };
    tarvo::trace::install(facility);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() { tarvo::trace::uninstall(); }

  const std::vector<Record>& records() const { return records_; }
  void setFlags(std::uint32_t word) { flags_[tarvo::trace::componentIndex] = word; }

 private:
  template <Hook hook>
  static void note(Probe number) {
    current->records_.push_back({hook, number});
    current->setFlags(current->script_[current->records_.size() % current->script_.size()]);
  }

  static inline Host* current = nullptr;
  Script script_;
  std::vector<Record> records_;
  std::array<std::uint32_t, 256> flags_ = {};
};

// --- what is expected

/// A traced call: its records, and the calls inside it.
struct Call {
  Probe probe = 0;
  bool entry = false;  // it also reports its entry
  std::vector<Call> inner;
  bool raises = false;                 // after all calls inside
  std::optional<std::uint32_t> flags;  // set by its body, as another thread could do
};

Call entered(Probe number, std::vector<Call> inner = {}) {
  return {number, true, std::move(inner), false, std::nullopt};
}

Call left(Probe number, std::vector<Call> inner = {}) {
  return {number, false, std::move(inner), false, std::nullopt};
}

class Model {
 public:
  Model(Script script, unsigned int absent)
      : script_(std::move(script)), absent_(absent), word_(script_[0]) {}

  const std::vector<Record>& records() const { return records_; }

  /// Returns whether the call returns.
  bool run(const Call& call) {
    if (call.entry) {
      if (has(0x40000)) record(Hook::dispatchEntry, call.probe);
      if (has(0x20001)) record(Hook::traceEntry, call.probe);
    }
    if (call.flags) word_ = *call.flags;
    for (const Call& inner : call.inner) {
      if (!run(inner)) return false;
    }
    if (call.raises) return false;
    if (has(0x40000)) record(Hook::dispatchExit, call.probe);
    if (has(0x20082)) {
      if (has(0x20002)) record(Hook::traceExit, call.probe);
      if (has(0x80)) record(Hook::flightRecord, call.probe);
    }
    return true;
  }

 private:
  bool has(std::uint32_t bits) const { return (word_ & bits) != 0; }
  void record(Hook hook, Probe number) {
    if ((absent_ >> static_cast<unsigned int>(hook) & 1) != 0) return;
    records_.push_back({hook, number});
    word_ = script_[records_.size() % script_.size()];
  }

  Script script_;
  unsigned int absent_;
  std::uint32_t word_;
  std::vector<Record> records_;
};

// --- calls of the wrapper only

struct Raised {};

constexpr int deepest = 6;
constexpr std::size_t mostCalls = 64;

void runWrapped(const Call& call, Host& host);

template <Probe P>
struct Wrapped {
  static int body(const Call& call, Host& host) {
    if (call.flags) host.setFlags(*call.flags);
    for (const Call& inner : call.inner) runWrapped(inner, host);
    if (call.raises) throw Raised();
    return static_cast<int>(call.inner.size());
  }
  static void run(const Call& call, Host& host) {
    if (call.entry) {
      const int given = tarvo::trace::traced<P>([&] { return body(call, host); });
      expect(given == static_cast<int>(call.inner.size()), "what a traced call returns");
    } else {
      tarvo::trace::tracedExit<P>([&] { body(call, host); });
    }
  }
};

constexpr std::array wrapped = {
    std::pair{probe("Socket::connect"), &Wrapped<probe("Socket::connect")>::run},
    std::pair{probe("Socket::close"), &Wrapped<probe("Socket::close")>::run},
    std::pair{probe("Formatter::setSettings"), &Wrapped<probe("Formatter::setSettings")>::run},
};

void runWrapped(const Call& call, Host& host) {
  for (const auto& [number, function] : wrapped) {
    if (number == call.probe) return function(call, host);
  }
}

Call callFrom(Input& input, int depth, std::size_t& left) {
  const unsigned int kind = input.byte();
  Call call;
  call.probe = wrapped[kind % wrapped.size()].first;
  call.entry = (kind & 0x04) != 0;
  call.raises = (kind & 0xF0) == 0xF0;
  if ((kind & 0x08) != 0) call.flags = wordOf(input.byte());
  for (unsigned int inner = depth < deepest ? input.below(4) : 0; inner > 0 && left > 0; --inner) {
    --left;
    call.inner.push_back(callFrom(input, depth + 1, left));
  }
  return call;
}

// --- calls of the library; some of them take a separate path if no entry is traced

/// Objects of the library and their known state. Each step passes the expected records to the model, then
/// acts.
class Library {
 public:
  Library(Input& input, Model& model) : input_(input), model_(model) {
    reports({left(probe("MessageList::MessageList")), left(probe("ByteBuffer::ByteBuffer")),
             left(probe("UTF8Iterator::UTF8Iterator"), {entered(probe("UTF8Iterator::takeText"))})});
    list_.emplace();
    buffer_.emplace(piece_.c_str(), 4);
    iterator_.emplace("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    reports({left(probe("UTF8Iterator::~UTF8Iterator")), left(probe("ByteBuffer::clear")),
             entered(probe("MessageList::clear"))});
    iterator_.reset();
    buffer_.reset();
    list_.reset();
  }

  void step() {
    const unsigned int kind = input_.byte();
    switch (kind % 4) {
      case 0:
        return stepOfList(messages_ > 20 ? 6 : kind / 4 % 7);
      case 1:
        return stepOfBuffer(kind / 4 % 5);
      case 2:
        return stepOfIterator(kind / 4 % 2);
      default:
        return kind / 4 % 4 == 3 ? fillStream() : convert(kind / 4 % 4);
    }
  }

 private:
  void stepOfList(unsigned int which);
  void stepOfBuffer(unsigned int which);
  void stepOfIterator(unsigned int which);
  void convert(unsigned int which);
  void fillStream();

  void reports(const std::vector<Call>& calls) {
    for (const Call& call : calls) model_.run(call);
  }
  static Call adding() { return entered(probe("MessageList::addMessage")); }
  Call joining() const { return entered(probe("MessageList::join"), std::vector<Call>(messages_, adding())); }
  void cursorAt(std::size_t message) {
    cursor_ = message < messages_ ? std::optional(message) : std::nullopt;
  }

  Input& input_;
  Model& model_;
  std::optional<MessageList> list_;
  std::size_t messages_ = 0;
  std::optional<std::size_t> cursor_;  // the next message
  std::optional<ByteBuffer> buffer_;
  const std::string piece_ = std::string(50, 'x');
  std::optional<tarvo::oss::UTF8Iterator> iterator_;
  int characters_ = 0;  // already passed
};

void Library::stepOfList(unsigned int which) {
  switch (which) {
    case 0:
      reports({adding()});
      list_->addMessage(Message());
      ++messages_;
      break;
    case 1:
      reports({entered(probe("MessageList::insertMessage"))});
      list_->insertMessage(Message());
      ++messages_;
      if (cursor_) cursorAt(*cursor_ + 1);
      break;
    case 2:
      reports({joining()});
      list_->join(*list_);
      messages_ *= 2;
      break;
    case 3:
      reports({left(probe("MessageList::MessageList"), {joining()}), entered(probe("MessageList::clear"))});
      expect(MessageList(*list_).count() == static_cast<int>(messages_), "the messages of a copy");
      break;
    case 4:
      if (messages_ > 0) {
        reports({left(probe("MessageList::getFirstMsg"))});
        cursorAt(1);
      }
      expect((list_->getFirstMsg() != nullptr) == (messages_ > 0), "the first message");
      break;
    case 5: {
      const bool more = cursor_.has_value();
      if (more) {
        reports({left(probe("MessageList::getNextMsg"))});
        cursorAt(*cursor_ + 1);
      }
      expect((list_->getNextMsg() != nullptr) == more, "the next message");
      break;
    }
    default:
      reports({entered(probe("MessageList::clear"))});
      list_->clear();
      messages_ = 0;
      cursor_.reset();
      break;
  }
  expect(list_->count() == static_cast<int>(messages_), "the count of messages");
}

void Library::stepOfBuffer(unsigned int which) {
  const std::size_t length = input_.below(50);
  const std::size_t before = buffer_->length();
  switch (before > 4000 ? 2 : which) {
    case 0:
      if (length > 0) reports({entered(probe("ByteBuffer::append"))});
      buffer_->append(piece_.data(), length);
      expect(buffer_->length() == before + length, "the length of a buffer after an append");
      break;
    case 1:
      reports({entered(probe("ByteBuffer::set"))});
      buffer_->set(piece_.data(), length);
      expect(buffer_->compare(piece_.data(), length), "what a buffer was set to");
      break;
    case 2:
      reports({entered(probe("ByteBuffer::clear"))});
      buffer_->clear();
      break;
    case 3:
      reports({left(probe("ByteBuffer::ByteBuffer")), left(probe("ByteBuffer::clear"))});
      expect(ByteBuffer(*buffer_) == *buffer_, "the copy of a buffer");
      break;
    default: {
      reports({left(probe("ByteBuffer::ByteBuffer")), entered(probe("ByteBuffer::operator=")),
               left(probe("ByteBuffer::clear"))});
      ByteBuffer other(piece_.data(), length);
      other = *buffer_;
      expect(other == *buffer_, "an assigned buffer");
      break;
    }
  }
}

void Library::stepOfIterator(unsigned int which) {
  constexpr int all = 4;
  if (which == 0) {
    reports({left(probe("UTF8Iterator::getFirstChar"))});
    expect(iterator_->getFirstChar() == std::string("a"), "the first character");
    characters_ = 1;
    return;
  }
  const bool more = characters_ < all;
  if (more) reports({left(probe("UTF8Iterator::getNextChar"))});
  expect((iterator_->getNextChar() != nullptr) == more, "the next character");
  if (more) ++characters_;
}

void Library::convert(unsigned int which) {
  using tarvo::oss::Converter;
  std::array<char, 8> bytes;
  if (which == 0) {
    reports({entered(probe("Converter::convert"), {entered(probe("Converter::convertData"))})});
    expect(Converter::convert(bytes.data(), 8, "UTF-8", "abc", "ISO-8859-1") == 4, "a conversion");
  } else if (which == 1) {
    reports({entered(probe("Converter::convert"))});
    expect(Converter::convert(bytes.data(), 8, "UTF-8", icu::UnicodeString(u"abc")) == 4, "a conversion");
  } else {
    reports({entered(probe("Converter::convertToBytes"))});
    tarvo::oss::SizeableBuffer<char, 2> room;
    expect(Converter::convertToBytes(u"abc", "UTF-8", room) == 3, "a conversion that grows");
  }
}

/// Ends with an error, whose construction builds a list of one message. The calls then report no exit.
void Library::fillStream() {
  Call full =
      entered(probe("ByteArrayOutputStream::write"), {left(probe("MessageList::MessageList")), adding()});
  full.raises = true;
  reports({left(probe("ByteArrayOutputStream::ByteArrayOutputStream")),
           entered(probe("ByteArrayOutputStream::write")), full, entered(probe("MessageList::clear"))});
  std::array<char, 1> room;
  bool raised = false;
  try {
    tarvo::oss::ByteArrayOutputStream stream(room.data(), room.size());
    stream.write('a');
    stream.write('b');
  } catch (const tarvo::oss::IOException&) {
    raised = true;
  }
  expect(raised, "whether a full stream takes a byte");
}

/// The sequence of flag words, from the beginning of the input.
Script scriptFrom(Input& input) {
  Script script;
  for (unsigned int count = 1 + input.below(40); count > 0; --count) script.push_back(wordOf(input.byte()));
  return script;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const unsigned int absent = input.byte() % 4 == 3 ? input.byte() : 0;
  const Script script = scriptFrom(input);
  Model model(script, absent);
  Host host(script, absent);
  {
    std::optional<Library> library;
    for (int steps = 0; steps < 40 && !input.isEmpty(); ++steps) {
      if (input.flag()) {
        if (!library) library.emplace(input, model);
        library->step();
      } else {
        std::size_t most = mostCalls;
        const Call call = callFrom(input, 0, most);
        const bool returns = model.run(call);
        bool returned = true;
        try {
          runWrapped(call, host);
        } catch (const Raised&) {
          returned = false;
        }
        expect(returned == returns, "whether a call ends with an error");
      }
      expect(host.records() == model.records(), "what is recorded");
    }
  }
  expect(host.records() == model.records(), "what is recorded at the end");
  return 0;
}
