#include "traceFile.hpp"

#include <algorithm>

namespace kelinfra {

namespace {

constexpr std::string_view mark = "KELTRACE";
constexpr std::uint64_t headerSize = 72;
constexpr std::size_t threadHeaderSize = 32;
constexpr std::size_t eventSize = 16;
constexpr std::uint64_t longest = std::uint64_t{1} << 62U;

/// left * right / divisor for left <= divisor <= 2^62, without an overflow of the product.
std::uint64_t scaled(std::uint64_t left, std::uint64_t right, std::uint64_t divisor) {
  const std::uint64_t part = right % divisor;
  std::uint64_t quotient = 0;
  std::uint64_t rest = 0;
  for (int bit = 63; bit >= 0; --bit) {
    quotient *= 2;
    rest *= 2;
    if (rest >= divisor) {
      rest -= divisor;
      ++quotient;
    }
    if ((left >> static_cast<unsigned int>(bit) & 1U) == 0) continue;
    rest += part;
    if (rest >= divisor) {
      rest -= divisor;
      ++quotient;
    }
  }
  return left * (right / divisor) + quotient;
}

/// Converts the clock of the events to nanoseconds since the start.
struct Scale {
  std::uint64_t start = 0;
  std::uint64_t length = 0;
  std::uint64_t nanoseconds = 0;

  std::uint64_t operator()(std::uint64_t time) const {
    const std::uint64_t since = std::min(time < start ? 0 : time - start, length);
    return length == nanoseconds ? since : scaled(since, nanoseconds, std::max<std::uint64_t>(length, 1));
  }
};

class Reader {
 public:
  Reader(std::string_view bytes, TraceFile& file) : bytes_(bytes), file_(file) {}

  TraceReading read() {
    file_ = TraceFile();
    if (bytes_.substr(0, mark.size()) != mark) return fault(TraceFault::noTrace);
    at_ = mark.size();
    if (bytes_.size() < headerSize) return fault(TraceFault::truncated, bytes_.size());
    version_ = word();
    if (version_ != 1) return fault(TraceFault::otherVersion, mark.size());
    const std::size_t afterVersion = at_;
    std::uint32_t threads = 0;
    if (!readHeader(threads)) return fault(TraceFault::malformed, afterVersion);
    for (; threads > 0; --threads) {
      const TraceReading reading = readThread();
      if (reading.fault != TraceFault::none) return reading;
    }
    return fault(at_ == bytes_.size() ? TraceFault::none : TraceFault::malformed, at_);
  }

 private:
  TraceReading fault(TraceFault kind, std::size_t offset = 0) const { return {kind, offset, version_}; }

  std::uint64_t number(std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i)
      value = value << 8U | static_cast<unsigned char>(bytes_[at_ + i - 1]);
    at_ += size;
    return value;
  }
  std::uint32_t word() { return static_cast<std::uint32_t>(number(4)); }

  bool readHeader(std::uint32_t& threads) {
    if (number(4) != headerSize) return false;
    const std::uint32_t clock = word();
    file_.process = word();
    scale_.start = number(8);
    const std::uint64_t end = number(8);
    file_.nanoseconds = scale_.nanoseconds = number(8);
    number(8);  // the time of day at the start
    file_.lost = number(8);
    threads = word();
    if ((clock != 1 && clock != 2) || end < scale_.start || number(4) != 0) return false;
    scale_.length = end - scale_.start;
    return scale_.length < longest && scale_.nanoseconds < longest;
  }

  TraceReading readThread() {
    const std::size_t begin = at_;
    if (bytes_.size() - at_ < threadHeaderSize) return fault(TraceFault::truncated, bytes_.size());
    TraceThread thread{};
    thread.number = number(8);
    thread.lost = number(8);
    const std::uint64_t count = number(8);
    const std::uint32_t flags = word();
    if (flags > 1 || number(4) != 0) return fault(TraceFault::malformed, begin);
    thread.ended = flags == 1;
    if (count > (bytes_.size() - at_) / eventSize) return fault(TraceFault::truncated, bytes_.size());
    thread.events.reserve(static_cast<std::size_t>(count));
    std::uint64_t before = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::size_t place = at_;
      before = std::max(before, scale_(number(8)));
      const std::uint32_t probe = word();
      const std::uint32_t kind = word();
      if (kind > 1) return fault(TraceFault::malformed, place);
      thread.events.push_back({before, probe, kind == 1});
    }
    file_.lost += thread.lost;
    file_.threads.push_back(std::move(thread));
    return fault(TraceFault::none);
  }

  std::string_view bytes_;
  TraceFile& file_;
  std::size_t at_ = 0;
  std::uint32_t version_ = 0;
  Scale scale_;
};

}  // namespace

TraceReading readTrace(std::string_view bytes, TraceFile& file) {
  return Reader(bytes, file).read();
}

}  // namespace kelinfra
