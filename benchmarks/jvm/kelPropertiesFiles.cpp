#include "infra/util/kelExtendedProperties.hpp"

#include "kelPropertiesFile.hpp"

#include <unicode/unistr.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <span>
#include <string>

/// Writes the files of ExtendedProperties' benchmarks into a folder, for programs other than this one. Prints
/// for each file its number of entries and a digest of the properties that the library reads from it.
///
///     kelinfra_properties_files FOLDER SIZE...
namespace {

using tarvo::util::ExtendedProperties;

/// FNV-1a over the code units of all keys, in their order, and their values, with a zero after each.
class Digest {
 public:
  void add(const icu::UnicodeString& text) {
    for (std::int32_t i = 0; i < text.length(); ++i) add(text.charAt(i));
    add(u'\0');
  }
  std::uint64_t value() const { return value_; }

 private:
  void add(char16_t unit) { value_ = (value_ ^ unit) * 1099511628211U; }

  std::uint64_t value_ = 14695981039346656037U;
};

void write(const std::string& name, const std::string& file) {
  std::ofstream out(name, std::ios::binary);
  out << file;
  if (!out.flush()) throw std::ios_base::failure(name);
}

std::uint64_t digestOf(const std::string& file) {
  ExtendedProperties properties;
  properties.load(file.data(), file.size(), false);
  Digest digest;
  for (const auto& [key, value] : properties) {
    digest.add(key);
    digest.add(value);
  }
  return digest.value();
}

void writeAll(const std::string& folder, std::span<char*> sizes) {
  for (const std::string entries : sizes) {
    const std::string file = tarvo::benchmarks::properties::makeFile(std::stoul(entries));
    write(std::string(folder).append("/").append(entries).append(".properties"), file);
    std::printf("%s %016" PRIx64 "\n", entries.c_str(), digestOf(file));
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 2;
  try {
    writeAll(arguments[1], std::span(arguments + 2, arguments + count));
  } catch (const std::exception& error) {
    static_cast<void>(std::fputs(error.what(), stderr));
    return 1;
  }
  return 0;
}
