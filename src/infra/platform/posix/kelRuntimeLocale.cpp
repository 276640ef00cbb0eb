#include "platform/kelRuntimeLocale.hpp"

#include <locale.h>  // NOLINT(modernize-deprecated-headers): POSIX declares the locales of threads here

#include <new>
#include <type_traits>

namespace tarvo::platform {
namespace {

static_assert(std::is_pointer_v<locale_t>);

locale_t makeEnglishNumbers() {
  const locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
  if (made == nullptr) throw std::bad_alloc();
  return made;
}

/// The system has no locale "English_USA.1252"; its "C" locale has the same numeric rules. The locale is
/// never released, because a thread may still use it while the library's other objects are destroyed.
locale_t englishNumbers() {
  static const locale_t kept = makeEnglishNumbers();
  return kept;
}

}  // namespace

EnglishRuntimeLocale::EnglishRuntimeLocale() : former_(uselocale(englishNumbers())) {}

EnglishRuntimeLocale::~EnglishRuntimeLocale() {
  uselocale(static_cast<locale_t>(former_));
}

RuntimeLocaleLock::RuntimeLocaleLock() noexcept = default;

RuntimeLocaleLock::~RuntimeLocaleLock() = default;

}  // namespace tarvo::platform
