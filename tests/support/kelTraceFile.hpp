#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarvo::test {

/// A trace file, read as docs/formats.md describes it.
struct TraceFile {
  struct Event {
    std::uint64_t time;
    std::uint64_t probe;
    std::uint64_t kind;
  };
  struct Thread {
    std::uint64_t number;
    std::uint64_t lost;
    bool ended;
    std::vector<Event> events;
  };

  std::uint64_t version;
  std::uint64_t clock;
  std::uint64_t process;
  std::uint64_t started;
  std::uint64_t read;
  std::uint64_t nanoseconds;
  std::uint64_t since1970;
  std::uint64_t lost;
  std::vector<Thread> threads;

  explicit TraceFile(const std::string& bytes) : bytes_(bytes) {
    if (bytes_.substr(0, 8) != "KELTRACE") throw std::runtime_error("the file does not begin with KELTRACE");
    at_ = 8;
    version = number(4);
    const std::uint64_t header = number(4);
    clock = number(4);
    process = number(4);
    started = number(8);
    read = number(8);
    nanoseconds = number(8);
    since1970 = number(8);
    lost = number(8);
    const std::uint64_t count = number(4);
    if (number(4) != 0 || at_ != header) throw std::runtime_error("the header is malformed");
    for (std::uint64_t i = 0; i < count; ++i) threads.push_back(thread());
    if (at_ != bytes_.size()) throw std::runtime_error("bytes follow the last thread");
  }

 private:
  std::uint64_t number(std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i)
      value = value << 8U | static_cast<unsigned char>(bytes_.at(at_ + i - 1));
    at_ += size;
    return value;
  }
  Thread thread() {
    Thread found{};
    found.number = number(8);
    found.lost = number(8);
    const std::uint64_t count = number(8);
    found.ended = number(4) != 0;
    if (number(4) != 0) throw std::runtime_error("the header of a thread is malformed");
    for (std::uint64_t i = 0; i < count; ++i) {
      Event event{};
      event.time = number(8);
      event.probe = number(4);
      event.kind = number(4);
      found.events.push_back(event);
    }
    return found;
  }

  std::string bytes_;
  std::size_t at_ = 0;
};

}  // namespace tarvo::test
