// FrameReader and FrameWriter compared with the loops that a program would write.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelFrameReader.hpp"
#include "infra/oss/kelFrameWriter.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarvo::benchmarks {
namespace {

using oss::FrameReader;
using oss::FrameWriter;

constexpr std::size_t limit = std::size_t{1} << 20U;

std::string lengthWord(std::size_t length) {
  std::string word;
  for (unsigned int shift = 32; shift > 0;) word += static_cast<char>(length >> (shift -= 8));
  return word;
}

std::size_t lengthAt(std::string_view bytes) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < 4; ++i) length = length << 8U | static_cast<unsigned char>(bytes[i]);
  return length;
}

constexpr std::size_t framesInStream = 64;

/// A stream of frames, each with `size` bytes of payload.
std::string streamOf(std::size_t size) {
  std::string stream;
  for (std::size_t i = 0; i < framesInStream; ++i)
    stream += lengthWord(size) + std::string(size, static_cast<char>('a' + i % 26));
  return stream;
}

/// Passes the stream to the candidate in the pieces that a read would return.
template <class Append>
void inPieces(const std::string& stream, Append append) {
  constexpr std::size_t piece = 4000;
  for (std::size_t at = 0; at < stream.size(); at += piece)
    append(std::string_view(stream).substr(at, piece));
}

/// The sum of the lengths and the last bytes of all payloads.
struct Sum {
  std::size_t value = 0;
  void add(std::string_view payload) {
    value = value * 31 + payload.size() + static_cast<unsigned char>(payload.back());
  }
};

class ByLibrary {
 public:
  void append(std::string_view piece, Sum& sum) {
    reader_.append(piece.data(), 0, piece.size());
    while (reader_.next() == FrameReader::FRAME)
      sum.add({reader_.payload(), static_cast<std::size_t>(reader_.length())});
  }

 private:
  FrameReader reader_{limit};
};

/// Erases each frame from the front.
class ByErasing {
 public:
  void append(std::string_view piece, Sum& sum) {
    bytes_ += piece;
    while (bytes_.size() >= 4) {
      const std::size_t length = lengthAt(bytes_);
      if (length > limit || bytes_.size() - 4 < length) return;
      sum.add(std::string_view(bytes_).substr(4, length));
      bytes_.erase(0, 4 + length);
    }
  }

 private:
  std::string bytes_;
};

/// Erases all complete frames of a piece together.
class ByPosition {
 public:
  void append(std::string_view piece, Sum& sum) {
    bytes_ += piece;
    std::size_t at = 0;
    while (bytes_.size() - at >= 4) {
      const std::size_t length = lengthAt(std::string_view(bytes_).substr(at));
      if (length > limit || bytes_.size() - at - 4 < length) break;
      sum.add(std::string_view(bytes_).substr(at + 4, length));
      at += 4 + length;
    }
    bytes_.erase(0, at);
  }

 private:
  std::string bytes_;
};

template <class Reader>
std::size_t sumOf(Reader& reader, const std::string& stream) {
  Sum sum;
  inPieces(stream, [&](std::string_view piece) { reader.append(piece, sum); });
  return sum.value;
}

template <class Reader>
void reads(benchmark::State& state) {
  const std::string stream = streamOf(static_cast<std::size_t>(state.range(0)));
  ByLibrary library;
  Reader reader;
  if (sumOf(reader, stream) != sumOf(library, stream)) return refuse(state, "the frames differ");
  timed(state, [&] { benchmark::DoNotOptimize(sumOf(reader, stream)); });
}

// --- writing: the frames wait until all have been added; a send then takes them in pieces

class Queue {
 public:
  bool add(std::string_view payload) { return writer_.add(payload.data(), 0, payload.size()); }
  std::string_view waiting() const { return {writer_.bytes(), static_cast<std::size_t>(writer_.length())}; }
  void remove(std::size_t count) { writer_.remove(count); }

 private:
  FrameWriter writer_{limit};
};

class QueueByErasing {
 public:
  bool add(std::string_view payload) {
    if (bytes_.size() + 4 + payload.size() > limit) return false;
    (bytes_ += lengthWord(payload.size())) += payload;
    return true;
  }
  std::string_view waiting() const { return bytes_; }
  void remove(std::size_t count) { bytes_.erase(0, count); }

 private:
  std::string bytes_;
};

template <class Writer>
std::size_t write(Writer& writer, std::string_view payload) {
  constexpr std::size_t piece = 1000;
  for (std::size_t i = 0; i < framesInStream; ++i) writer.add(payload);
  std::size_t sent = 0;
  while (!writer.waiting().empty()) {
    const std::string_view next = writer.waiting().substr(0, piece);
    sent += next.size() + static_cast<unsigned char>(next.back());
    writer.remove(next.size());
  }
  return sent;
}

template <class Writer>
void writes(benchmark::State& state) {
  const std::string payload(static_cast<std::size_t>(state.range(0)), 'x');
  Queue library;
  Writer writer;
  if (write(writer, payload) != write(library, payload)) return refuse(state, "the bytes differ");
  timed(state, [&] { benchmark::DoNotOptimize(write(writer, payload)); });
}

void sizes(benchmark::internal::Benchmark* task) {
  task->ArgName("bytes")->Arg(16)->Arg(128)->Arg(4096);
}

BENCHMARK(reads<ByLibrary>)->Name("FrameReader/64 frames/KELINFRA")->Apply(sizes);
BENCHMARK(reads<ByErasing>)->Name("FrameReader/64 frames/erase after each frame")->Apply(sizes);
BENCHMARK(reads<ByPosition>)->Name("FrameReader/64 frames/erase after each piece")->Apply(sizes);
BENCHMARK(writes<Queue>)->Name("FrameWriter/queue 64 frames and send/KELINFRA")->Apply(sizes);
BENCHMARK(writes<QueueByErasing>)->Name("FrameWriter/queue 64 frames and send/std::string")->Apply(sizes);

}  // namespace
}  // namespace tarvo::benchmarks
