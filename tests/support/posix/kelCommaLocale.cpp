#include "support/kelCommaLocale.hpp"

#include "machine/kelByteOrder.hpp"
#include "support/kelProcess.hpp"

#include <locale.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tarvo::test {
namespace {

constexpr const char* localeName = "de_DE.UTF-8";

/// A folder with the locale, which the system's localedef compiles. It is removed when the process ends.
class LocaleFolder {
 public:
  LocaleFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "kelinfra-locale-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
    path_ = name;
    // If the test runs in an emulator, the tool is that of the machine on which the emulator runs.
    const char* const order = machine::isLittleEndian ? "--little-endian" : "--big-endian";
    const ProcessResult result = runProcess(
        {"localedef", "--no-archive", order, "-i", "de_DE", "-f", "UTF-8", (path_ / localeName).string()});
    if (result.status != 0) throw std::runtime_error("localedef: " + result.err);
  }
  LocaleFolder(const LocaleFolder&) = delete;
  LocaleFolder& operator=(const LocaleFolder&) = delete;
  ~LocaleFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const char* path() const { return path_.c_str(); }

 private:
  std::filesystem::path path_;
};

void setProcessLocale(const char* name) {
  if (std::setlocale(LC_ALL, name) == nullptr)
    throw std::runtime_error(std::string("setlocale refuses ") + name);
}

/// A copy of the process's locale after setlocale, because newlocale leaks memory if LOCPATH is set. It is
/// never freed, because a thread may use it until the process ends.
locale_t commaLocale() {
  static const LocaleFolder folder;
  static const locale_t made = [] {
    setenv("LOCPATH", folder.path(), 1);
    const std::string former = std::setlocale(LC_ALL, nullptr);
    setProcessLocale(localeName);
    const locale_t copy = duplocale(LC_GLOBAL_LOCALE);
    setProcessLocale(former.c_str());
    return copy;
  }();
  if (made == nullptr) throw std::runtime_error("duplocale fails");
  return made;
}

}  // namespace

CommaLocale::CommaLocale(For whom) : whom_(whom), former_(nullptr) {
  const locale_t comma = commaLocale();
  if (whom_ == For::thread) {
    former_ = uselocale(comma);
  } else {
    const std::string former = std::setlocale(LC_ALL, nullptr);
    setProcessLocale(localeName);
    former_ = new std::string(former);
  }
}

CommaLocale::~CommaLocale() {
  if (whom_ == For::thread) {
    uselocale(static_cast<locale_t>(former_));
  } else {
    auto* const name = static_cast<std::string*>(former_);
    std::setlocale(LC_ALL, name->c_str());
    delete name;
  }
}

}  // namespace tarvo::test
