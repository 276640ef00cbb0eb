#include "kelDataBufferTasks.hpp"
#include "kelDiagnosticsTasks.hpp"

#include <benchmark/benchmark.h>

#include <fmt/format.h>

#include <iterator>
#include <string>

/// fmt, which works on bytes, compared with a message's line and with DataBuffer.
namespace {

using namespace tarvo::benchmarks;

void render(benchmark::State& state) {
  const std::string id = diagnostics::identifier;
  const std::string text;
  const std::string arguments[] = {"10022", "db.example", "4711"};
  diagnostics::renders(state, [&] {
    return fmt::format("{}: [{}] - [{}] [{}] [{}]", id, text, arguments[0], arguments[1], arguments[2]);
  });
}

BENCHMARK(render)->Name("Diagnostics/render one line/fmt::format");

class Builder {
 public:
  template <class Number>
  void addNumber(Number number) {
    if constexpr (std::is_same_v<Number, double>)
      fmt::format_to(std::back_inserter(text_), "{:.6f}", number);
    else
      fmt::format_to(std::back_inserter(text_), "{}", number);
  }
  std::string text() const { return fmt::to_string(text_); }
  const void* data() const { return text_.data(); }

 private:
  fmt::memory_buffer text_;
};

BENCHMARK(databuffer::appendInteger<Builder>)->Name("DataBuffer/append 100,000 integers/fmt::memory_buffer");
BENCHMARK(databuffer::appendDouble<Builder>)->Name("DataBuffer/append 10,000 doubles/fmt::memory_buffer");

}  // namespace
