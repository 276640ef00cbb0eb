#include "kelBase64Tasks.hpp"
#include "kelConverterTasks.hpp"
#include "kelDataBufferTasks.hpp"
#include "kelDiagnosticsTasks.hpp"
#include "kelExtendedPropertiesTasks.hpp"
#include "kelStringTokenizerTasks.hpp"
#include "kelUTF8Tasks.hpp"

#include <benchmark/benchmark.h>

#include <glib.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

/// GLib compared with several classes.
namespace {

using namespace tarvo::benchmarks;

// --- Base64: GLib works on bytes, so the text is widened after encoding and narrowed before decoding. The
// byte
// buffer is kept between calls, and GLib decodes in place, its fastest way.

std::size_t encodeBase64(unsigned short* dest, std::size_t, const char* src, std::size_t srcBytes) {
  static std::string text;
  // Requests no line breaks. GLib documents that four more characters may be pending.
  if (text.size() < srcBytes / 3 * 4 + 8) text.resize(srcBytes / 3 * 4 + 8);
  gint state = 0;
  gint save = 0;
  std::size_t size =
      g_base64_encode_step(reinterpret_cast<const guchar*>(src), srcBytes, FALSE, text.data(), &state, &save);
  size += g_base64_encode_close(FALSE, text.data() + size, &state, &save);
  base64::widen({text.data(), size}, dest);
  return size;
}

std::size_t decodeBase64(char* dest, std::size_t destBytes, const unsigned short* src, std::size_t srcUnits) {
  static std::string text;
  if (!base64::narrowed(src, srcUnits, text)) return 0;
  gint state = 0;
  guint save = 0;
  std::size_t padding = srcUnits > 0 && src[srcUnits - 1] == u'=' ? 1 : 0;
  if (padding == 1 && src[srcUnits - 2] == u'=') padding = 2;
  if (srcUnits / 4 * 3 - padding > destBytes) return 0;
  return g_base64_decode_step(text.data(), srcUnits, reinterpret_cast<guchar*>(dest), &state, &save);
}

BENCHMARK(base64::encodes<&encodeBase64>)->Name("Base64/encode/GLib and widening")->Apply(base64::sizes);
BENCHMARK(base64::decodes<&decodeBase64>)->Name("Base64/decode/GLib and narrowing")->Apply(base64::sizes);

// --- UTF8String and UTF8Iterator

gsize lengthOf(const utf8::Text& text) {
  return text.bytes->size();
}

/// Checks the text, then returns each character.
utf8::Answer walk(const char* text, gsize length) {
  if (g_utf8_validate(text, static_cast<gssize>(length), nullptr) == FALSE) return -1;
  utf8::Answer sum = 0;
  for (const char* at = text; *at != '\0'; at = g_utf8_next_char(at))
    sum += g_utf8_get_char(at) < 0x80 ? 1 : 2;
  return sum;
}

void competeInUtf8(const utf8::Text& text) {
  const utf8::Answer expectedSum = utf8::sumOf(text);
  const utf8::Answer characters = text.characters;
  const gsize length = lengthOf(text);
  utf8::compete(
      "UTF8Iterator/construct, " + text.what, "g_utf8_validate",
      [=, bytes = text.bytes] {
        const bool valid =
            g_utf8_validate(utf8::hidden(*bytes), static_cast<gssize>(length), nullptr) != FALSE;
        return valid ? characters : -1;
      },
      [=] { return characters; });
  utf8::compete(
      "UTF8Iterator/construct and walk, " + text.what, "g_utf8_validate and g_utf8_next_char",
      [=, bytes = text.bytes] { return walk(utf8::hidden(*bytes), length); }, [=] { return expectedSum; });
  utf8::compete(
      "UTF8String/numChars, " + text.what, "g_utf8_strlen",
      [=, bytes = text.bytes] {
        return utf8::Answer{g_utf8_strlen(utf8::hidden(*bytes), static_cast<gssize>(length))};
      },
      [=] { return characters; });
  utf8::compete(
      "StrictConverter/findMalformed, " + text.what, "g_utf8_validate",
      [=, bytes = text.bytes] {
        const gchar* end = nullptr;
        const gchar* const start = utf8::hidden(*bytes);
        g_utf8_validate(start, static_cast<gssize>(length), &end);
        return utf8::Answer{end - start};
      },
      [=] { return static_cast<utf8::Answer>(length); });
}

// --- Converter

std::string_view convert(const std::string& to, const char* from, std::string_view data) {
  static std::unique_ptr<gchar, decltype(&g_free)> kept(nullptr, &g_free);
  gsize size = 0;
  kept.reset(
      g_convert(data.data(), static_cast<gssize>(data.size()), to.c_str(), from, nullptr, &size, nullptr));
  return {kept.get(), size};
}

const bool registered = [] {
  for (const utf8::Text& text : utf8::texts()) competeInUtf8(text);
  for (const converter::FromUnicode& task : converter::casesFromUnicode()) {
    converter::compete(
        task.task, "g_convert",
        [text = task.text, to = task.page](auto&) {
          return convert(to, "UTF-16LE", converter::asBytes(text));
        },
        task.own);
  }
  for (const converter::BetweenPages& task : converter::casesBetweenPages()) {
    converter::compete(
        task.task, "g_convert",
        [data = task.data, from = task.from, to = task.to](auto&) { return convert(to, from.c_str(), data); },
        task.own);
  }
  return true;
}();

// --- DataBuffer

class Builder {
 public:
  Builder() = default;
  Builder(const Builder&) = delete;
  Builder& operator=(const Builder&) = delete;
  ~Builder() { g_string_free(text_, TRUE); }

  void addText(const char* text) { g_string_append(text_, text); }
  void addNumber(int number) { g_string_append_printf(text_, "%d", number); }
  std::string text() const { return {text_->str, text_->len}; }
  const void* data() const { return text_->str; }

 private:
  GString* text_ = g_string_new(nullptr);
};

BENCHMARK(databuffer::appendText<Builder>)
    ->Name("DataBuffer/append 10-byte strings/g_string_append")
    ->Apply(databuffer::appendArguments);
BENCHMARK(databuffer::appendInteger<Builder>)
    ->Name("DataBuffer/append 100,000 integers/g_string_append_printf");

// --- StringTokenizer

/// GLib returns an empty token between two delimiters; the benchmark skips it.
template <class Take>
void eachToken(Take take) {
  gchar** const tokens = g_strsplit_set(tokenizer::bytes().c_str(), tokenizer::narrowDelimiters, -1);
  for (gchar** token = tokens; *token != nullptr; ++token) {
    if (**token != '\0') take(*token);
  }
  g_strfreev(tokens);
}

void split(benchmark::State& state) {
  std::string all;
  eachToken([&](const char* token) { all.append(token).push_back('|'); });
  if (!tokenizer::agrees(state, all)) return;
  timed(state, [] { eachToken([](const char* token) { benchmark::DoNotOptimize(token); }); });
}

BENCHMARK(split)->Name("StringTokenizer/construct/g_strsplit_set of bytes");

// --- ExtendedProperties

struct KeyFile {
  KeyFile() = default;
  KeyFile(const KeyFile&) = delete;
  KeyFile& operator=(const KeyFile&) = delete;
  ~KeyFile() { g_key_file_free(all); }

  GKeyFile* all = g_key_file_new();
};

/// GLib requires that properties belong to a group.
void loadInto(KeyFile& properties, const std::string& file) {
  static std::map<const std::string*, std::string> grouped;
  std::string& text = grouped[&file];
  if (text.empty()) text = "[all]\n" + file;
  g_key_file_load_from_data(properties.all, text.data(), text.size(), G_KEY_FILE_NONE, nullptr);
}

properties::Map asMap(const KeyFile& properties, const std::string& /*file*/) {
  properties::Map map;
  gchar** const keys = g_key_file_get_keys(properties.all, "all", nullptr, nullptr);
  for (gchar** key = keys; key != nullptr && *key != nullptr; ++key) {
    gchar* const value = g_key_file_get_value(properties.all, "all", *key, nullptr);
    map.emplace(properties::widened(*key), properties::widened(value));
    g_free(value);
  }
  g_strfreev(keys);
  return map;
}

BENCHMARK(properties::load<KeyFile>)->Name("ExtendedProperties/load/GKeyFile")->Apply(properties::sizes);

// --- diagnostics: entry and exit, with as many tests as a member of the library makes

[[gnu::noinline]] const int* step(const diagnostics::Node* first, const diagnostics::Node** cursor) {
  g_debug("entry");
  *cursor = first->next;
  g_debug("exit");
  return &first->message;
}

void tracedStep(benchmark::State& state) {
  diagnostics::steps(state, &step);
}

BENCHMARK(tracedStep)->Name("Diagnostics/cursor step, trace off/g_debug, not shown");

}  // namespace
