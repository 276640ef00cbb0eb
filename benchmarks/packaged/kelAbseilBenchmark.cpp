#include "kelBase64Tasks.hpp"
#include "kelDataBufferTasks.hpp"
#include "kelExtendedPropertiesTasks.hpp"
#include "kelStringTokenizerTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <absl/container/flat_hash_map.h>
#include <absl/strings/escaping.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_split.h>
#include <absl/strings/string_view.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Abseil, which works on bytes, compared with several classes.
namespace {

using namespace tarvo::benchmarks;

// --- Base64: widened after encoding, narrowed before decoding, in a buffer that is kept between calls

std::size_t encodeBase64(unsigned short* dest, std::size_t, const char* src, std::size_t srcBytes) {
  static std::string text;
  absl::Base64Escape({src, srcBytes}, &text);
  base64::widen(text, dest);
  return text.size();
}

std::size_t decodeBase64(char* dest, std::size_t destBytes, const unsigned short* src, std::size_t srcUnits) {
  static std::string text;
  static std::string bytes;
  if (!base64::narrowed(src, srcUnits, text)) return 0;
  if (!absl::Base64Unescape(text, &bytes) || bytes.size() > destBytes) return 0;
  std::copy(bytes.begin(), bytes.end(), dest);
  return bytes.size();
}

BENCHMARK(base64::encodes<&encodeBase64>)->Name("Base64/encode/Abseil and widening")->Apply(base64::sizes);
BENCHMARK(base64::decodes<&decodeBase64>)->Name("Base64/decode/Abseil and narrowing")->Apply(base64::sizes);

// --- DataBuffer

class Builder {
 public:
  void addText(const char* text) { absl::StrAppend(&text_, text); }
  void addNumber(int number) { absl::StrAppend(&text_, number); }
  void addBinary(const std::string& bytes) {
    absl::StrAppend(&text_, "X'", absl::BytesToHexString(bytes), "'");
  }
  const std::string& text() const { return text_; }
  const void* data() const { return text_.data(); }

 private:
  std::string text_;
};

BENCHMARK(databuffer::appendText<Builder>)
    ->Name("DataBuffer/append 10-byte strings/absl::StrAppend")
    ->Apply(databuffer::appendArguments);
BENCHMARK(databuffer::appendInteger<Builder>)->Name("DataBuffer/append 100,000 integers/absl::StrAppend");
BENCHMARK(databuffer::appendBinary<Builder>)
    ->Name("DataBuffer/append a binary literal/absl::BytesToHexString")
    ->Apply(databuffer::binaryArguments);

// --- StringTokenizer

void splitBytes(benchmark::State& state) {
  tokenizer::splits(
      state,
      [] {
        return std::vector<absl::string_view>(absl::StrSplit(
            tokenizer::bytes(), absl::ByAnyChar(tokenizer::narrowDelimiters), absl::SkipEmpty()));
      },
      [](absl::string_view token) { return std::string_view(token.data(), token.size()); });
}

void splitBlanks(benchmark::State& state) {
  tokenizer::splits(
      state, [] { return std::vector<absl::string_view>(absl::StrSplit(tokenizer::blankSeparated(), ' ')); },
      [](absl::string_view token) { return std::string_view(token.data(), token.size()); });
}

BENCHMARK(splitBytes)->Name("StringTokenizer/construct/absl::StrSplit of bytes");
BENCHMARK(splitBlanks)->Name("StringTokenizer/construct, one delimiter/absl::StrSplit of bytes");

// --- ExtendedProperties

struct Hash {
  std::size_t operator()(const icu::UnicodeString& text) const {
    return absl::Hash<std::u16string_view>()({text.getBuffer(), static_cast<std::size_t>(text.length())});
  }
};
using FlatMap = absl::flat_hash_map<icu::UnicodeString, icu::UnicodeString, Hash>;

BENCHMARK(properties::load<FlatMap>)
    ->Name("ExtendedProperties/load/absl::flat_hash_map")
    ->Apply(properties::sizes);
BENCHMARK(properties::lookUp<FlatMap>)
    ->Name("ExtendedProperties/look-up/absl::flat_hash_map")
    ->Apply(properties::sizes);

}  // namespace
