#include "support/kelCommaLocale.hpp"

#include <locale.h>

#include <clocale>
#include <stdexcept>
#include <string>

namespace tarvo::test {

/// For a thread, enables per-thread locales first, so that setlocale changes only the calling thread's.
CommaLocale::CommaLocale(For whom) : whom_(whom), former_(nullptr) {
  if (whom_ == For::thread) _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
  const std::string former = std::setlocale(LC_ALL, nullptr);
  if (std::setlocale(LC_ALL, "German_Germany.1252") == nullptr)
    throw std::runtime_error("setlocale refuses German_Germany.1252");
  former_ = new std::string(former);
}

CommaLocale::~CommaLocale() {
  auto* const name = static_cast<std::string*>(former_);
  std::setlocale(LC_ALL, name->c_str());
  delete name;
  if (whom_ == For::thread) _configthreadlocale(_DISABLE_PER_THREAD_LOCALE);
}

}  // namespace tarvo::test
