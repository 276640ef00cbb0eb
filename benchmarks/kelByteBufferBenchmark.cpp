// Buffers grown from nothing by pieces of 16 bytes, and scratch room, beside the standard library's.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::benchmarks {
namespace {

using oss::ByteBuffer;
using oss::SizeableBuffer;

constexpr std::array<char, 16> piece = {'0', '1', '2', '3', '4', '5',  '6', '7',
                                        '8', '9', 'a', 'b', 'c', '\0', 'e', 'f'};

/// What each container needs to be grown and looked at.
struct Ours {
  ByteBuffer bytes{0ULL};
  void append(const char* data, std::size_t length) { bytes.append(data, length); }
  std::string_view view() const { return {bytes.get(), static_cast<std::size_t>(bytes.length())}; }
};
struct Vector {
  std::vector<char> bytes;
  void append(const char* data, std::size_t length) { bytes.insert(bytes.end(), data, data + length); }
  std::string_view view() const { return {bytes.data(), bytes.size()}; }
};
struct String {
  std::string bytes;
  void append(const char* data, std::size_t length) { bytes.append(data, length); }
  std::string_view view() const { return bytes; }
};

/// Apart from where the container was made: it is memory, as a member of something is, and not a few registers.
template <class Container>
[[gnu::noinline]] void grow(Container& container, std::size_t total) {
  // Neither is known while compiling, as in a program that is handed its pieces.
  const char* const source = hidden(piece.data());
  const std::size_t pieceLength = hidden(piece.size());
  for (std::size_t length = 0; length < total; length += pieceLength) container.append(source, pieceLength);
}

template <class Container>
bool growsRight(std::size_t total) {
  Container container;
  grow(container, total);
  const std::string_view bytes = container.view();
  if (bytes.size() != total) return false;
  for (std::size_t i = 0; i < total; i += piece.size()) {
    if (bytes.substr(i, piece.size()) != std::string_view(piece.data(), piece.size())) return false;
  }
  return true;
}

template <class Container>
void append16(benchmark::State& state) {
  const auto total = static_cast<std::size_t>(state.range(0));
  if (!growsRight<Container>(total)) return refuse(state, "wrong contents");
  timed(state, [&] {
    Container container;
    grow(container, total);
    benchmark::DoNotOptimize(container.view().data());
    benchmark::ClobberMemory();
  });
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

constexpr std::int64_t MiB = 1 << 20;

// A full MiB and its terminator need a block of two, which the last piece alone moves to: a vector stays in one.
// One piece less shows the appends without that move.
BENCHMARK(append16<Ours>)->Name("ByteBuffer/append 16 B up to 1 MiB/KELINFRA")->Arg(MiB);
BENCHMARK(append16<Vector>)->Name("ByteBuffer/append 16 B up to 1 MiB/std::vector")->Arg(MiB);
BENCHMARK(append16<String>)->Name("ByteBuffer/append 16 B up to 1 MiB/std::string")->Arg(MiB);

BENCHMARK(append16<Ours>)->Name("ByteBuffer/append 16 B up to 1 MiB less one/KELINFRA")->Arg(MiB - 16);
BENCHMARK(append16<Vector>)->Name("ByteBuffer/append 16 B up to 1 MiB less one/std::vector")->Arg(MiB - 16);
BENCHMARK(append16<String>)->Name("ByteBuffer/append 16 B up to 1 MiB less one/std::string")->Arg(MiB - 16);

BENCHMARK(append16<Ours>)->Name("ByteBuffer/append 16 B up to 16 MiB/KELINFRA")->Arg(16 * MiB);
BENCHMARK(append16<Vector>)->Name("ByteBuffer/append 16 B up to 16 MiB/std::vector")->Arg(16 * MiB);
BENCHMARK(append16<String>)->Name("ByteBuffer/append 16 B up to 16 MiB/std::string")->Arg(16 * MiB);

BENCHMARK(append16<Ours>)->Name("ByteBuffer/append 16 B up to 16 MiB less one/KELINFRA")->Arg(16 * MiB - 16);
BENCHMARK(append16<Vector>)
    ->Name("ByteBuffer/append 16 B up to 16 MiB less one/std::vector")
    ->Arg(16 * MiB - 16);
BENCHMARK(append16<String>)
    ->Name("ByteBuffer/append 16 B up to 16 MiB less one/std::string")
    ->Arg(16 * MiB - 16);

using Inline = SizeableBuffer<char, 512>;
std::size_t room(Inline& buffer) {
  return static_cast<std::size_t>(buffer.capacity());
}

/// Room of the same size that a vector gives: zeroed, on the heap.
struct HeapRoom {
  std::vector<char> bytes = std::vector<char>(512);
  char* data() { return bytes.data(); }
};
std::size_t room(HeapRoom& buffer) {
  return buffer.bytes.size();
}

template <class Buffer>
void construct(benchmark::State& state) {
  Buffer checked;
  if (room(checked) != 512) return refuse(state, "wrong room");
  timed(state, [] {
    Buffer buffer;
    benchmark::DoNotOptimize(buffer.data());
  });
}
BENCHMARK(construct<Inline>)->Name("SizeableBuffer/room for 512 B/KELINFRA");
BENCHMARK(construct<HeapRoom>)->Name("SizeableBuffer/room for 512 B/std::vector");

}  // namespace
}  // namespace tarvo::benchmarks
