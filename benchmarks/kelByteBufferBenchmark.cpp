// Buffers that grow from nothing by pieces of 16 bytes, and scratch space, compared with the standard
// library's.
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

/// A common interface of the containers, to append bytes and to read them.
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

/// Not inlined, so that the container is in memory, as a member of an object is, and not in a few registers.
template <class Container>
[[gnu::noinline]] void grow(Container& container, std::size_t total) {
  // The compiler knows neither value, as in a program that receives its pieces.
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

// A full MiB and its terminator need a block of 2 MiB, to which only the last piece moves the bytes; a vector
// keeps its block of 1 MiB. With one piece less, no bytes move at the end.
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

template <std::size_t size>
using Inline = SizeableBuffer<char, size>;
template <std::size_t size>
std::size_t room(Inline<size>& buffer) {
  return static_cast<std::size_t>(buffer.capacity());
}

/// Space of the same size from a vector: zeroed, on the heap.
template <std::size_t size>
struct HeapRoom {
  std::vector<char> bytes = std::vector<char>(size);
  char* data() { return bytes.data(); }
};
template <std::size_t size>
std::size_t room(HeapRoom<size>& buffer) {
  return buffer.bytes.size();
}

/// The storage is inside the object. It is zeroed, so that no uninitialised byte is read. It does not grow.
template <std::size_t size>
struct ZeroedRoom {
  std::array<char, size> bytes{};
  char* data() { return bytes.data(); }
};
template <std::size_t size>
std::size_t room(ZeroedRoom<size>& buffer) {
  return buffer.bytes.size();
}

template <template <std::size_t> class Buffer, std::size_t size>
void construct(benchmark::State& state) {
  Buffer<size> checked;
  if (room(checked) != size) return refuse(state, "wrong room");
  timed(state, [] {
    Buffer<size> buffer;
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
  });
}
BENCHMARK((construct<Inline, 512>))->Name("SizeableBuffer/room for 512 B/KELINFRA");
BENCHMARK((construct<HeapRoom, 512>))->Name("SizeableBuffer/room for 512 B/std::vector");
BENCHMARK((construct<Inline, 4096>))->Name("SizeableBuffer/room for 4 KiB/KELINFRA");
BENCHMARK((construct<HeapRoom, 4096>))->Name("SizeableBuffer/room for 4 KiB/std::vector");
BENCHMARK((construct<ZeroedRoom, 4096>))->Name("SizeableBuffer/room for 4 KiB/a zeroed 4 KiB store");

}  // namespace
}  // namespace tarvo::benchmarks
