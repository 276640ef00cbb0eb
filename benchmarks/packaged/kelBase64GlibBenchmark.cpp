#include "kelBase64Rivals.hpp"

#include <glib.h>

#include <algorithm>
#include <cstring>

/// GLib's Base64, which is of bytes: the text is widened after encoding and narrowed before decoding. Its room
/// for bytes is there already, and it decodes where the text is, as fast as GLib can.
namespace {

using namespace tarvo::benchmarks::base64;

/// Room that stays from call to call.
std::string& room(std::size_t size) {
  static std::string bytes;
  if (bytes.size() < size) bytes.resize(size);
  return bytes;
}

std::size_t glibEncode(unsigned short* dest, std::size_t, const char* src, std::size_t srcBytes) {
  // A line end after each 72 characters is not asked for; four more characters, says GLib, may be waiting.
  char* const text = room(srcBytes / 3 * 4 + 8).data();
  gint state = 0;
  gint save = 0;
  std::size_t size =
      g_base64_encode_step(reinterpret_cast<const guchar*>(src), srcBytes, FALSE, text, &state, &save);
  size += g_base64_encode_close(FALSE, text + size, &state, &save);
  std::transform(text, text + size, dest, [](char c) { return static_cast<unsigned char>(c); });
  return size;
}

/// False where a unit is no byte, which narrowing has to look at.
std::size_t glibDecode(char* dest, std::size_t destBytes, const unsigned short* src, std::size_t srcUnits) {
  char* const text = room(srcUnits).data();
  unsigned int all = 0;
  for (std::size_t i = 0; i < srcUnits; ++i) {
    all |= src[i];
    text[i] = static_cast<char>(src[i]);
  }
  if (all > 0xFF) return 0;
  gint state = 0;
  guint save = 0;
  std::size_t padding = srcUnits > 0 && src[srcUnits - 1] == u'=' ? 1 : 0;
  if (padding == 1 && src[srcUnits - 2] == u'=') padding = 2;
  if (srcUnits / 4 * 3 - padding > destBytes) return 0;
  return g_base64_decode_step(text, srcUnits, reinterpret_cast<guchar*>(dest), &state, &save);
}

BENCHMARK(encodes<&glibEncode>)->Name("Base64/encode/GLib and widening")->Apply(sizes);
BENCHMARK(decodes<&glibDecode>)->Name("Base64/decode/GLib and narrowing")->Apply(sizes);

}  // namespace
