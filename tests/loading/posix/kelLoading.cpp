// kelinfra_loading copies LIBRARY FOLDER   two copies with different names convert in the same threads
// kelinfra_loading after LIBRARY MODULE    the library is loaded after the module, and converts
// kelinfra_loading cycles LIBRARY          1,000 times: load, convert in threads that end, close
// kelinfra_loading late LIBRARY            a thread ends after the library that it used was closed

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

void require(bool holds, const std::string& sentence) {
  if (!holds) throw std::runtime_error(sentence);
}

/// An open handle of a library.
class Library {
 public:
  explicit Library(const std::string& path) : handle_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(::dlerror());
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { ::dlclose(handle_); }

  template <class Function>
  Function* find(const char* name) const {
    void* const address = ::dlsym(handle_, name);
    require(address != nullptr, std::string("the library lacks ") + name);
    return reinterpret_cast<Function*>(address);
  }

 private:
  void* handle_;
};

/// Converts in code pages of one byte for each character. The library keeps a table for each of them.
class Conversions {
 public:
  explicit Conversions(const Library& library)
      : convert_(library.find<Convert>("_ZN5tarvo3oss9Converter7convertEPciPKcS4_S4_")) {}

  /// In the calling thread.
  void make() const {
    for (const char* const codePage : {"windows-1252", "ISO-8859-15", "ISO-8859-2", "KOI8-R", "ibm-850"}) {
      std::array<char, 16> bytes{};
      const int size = convert_(bytes.data(), bytes.size(), "UTF-8", "abc\xC2\xA0", codePage);
      require(size == 5 && std::string_view(bytes.data(), 3) == "abc",
              std::string("a wrong result in ") + codePage);
    }
  }

  /// In a thread that ends.
  void makeInAThread() const {
    std::async(std::launch::async, [this] { make(); }).get();
  }

 private:
  using Convert = int(char*, int, const char*, const char*, const char*);
  Convert* convert_;
};

/// Bytes of the process that are in memory.
long long residentBytes() {
  std::ifstream figures("/proc/self/statm");
  long long all = 0;
  long long resident = 0;
  figures >> all >> resident;
  require(resident > 0, "/proc/self/statm cannot be read");
  return resident * ::sysconf(_SC_PAGESIZE);
}

void copies(const std::string& path, const std::string& folder) {
  const auto copied = [&](const std::string& name) {
    std::string copy = folder;
    copy.append("/").append(name);
    std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
    return copy;
  };
  const Library one(copied("libFirstCopy.so"));
  const Library other(copied("libSecondCopy.so"));
  const Conversions ofOne(one);
  const Conversions ofOther(other);
  require(one.find<char>("sqlzThisIsAZYRLibrary") != other.find<char>("sqlzThisIsAZYRLibrary"),
          "the second copy is the first one");
  const auto both = [&] {
    ofOne.make();
    ofOther.make();
  };
  both();
  std::async(std::launch::async, both).get();
}

void after(const std::string& path, const std::string& module) {
  const Library first(module);
  const Library library(path);
  const Conversions conversions(library);
  conversions.make();
  conversions.makeInAThread();
}

void cycles(const std::string& path) {
  const auto cycle = [&] {
    const Library library(path);
    const Conversions conversions(library);
    conversions.makeInAThread();
    conversions.makeInAThread();
  };
  for (int i = 0; i < 20; ++i) cycle();
  const long long before = residentBytes();
  for (int i = 0; i < 1000; ++i) cycle();
  const long long grown = residentBytes() - before;
  std::cout << "grown by " << grown << " bytes\n";
  require(grown < 1'000'000,
          "1,000 cycles have grown the resident memory by " + std::to_string(grown) + " bytes");
}

void late(const std::string& path) {
  std::promise<void> converted;
  std::promise<void> closed;
  auto library = std::make_unique<Library>(path);
  auto ended = std::async(std::launch::async, [&, conversions = Conversions(*library)] {
    conversions.make();
    converted.set_value();
    closed.get_future().wait();
  });
  converted.get_future().wait();
  library.reset();
  closed.set_value();
  ended.get();
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string_view, std::function<void(const std::string&, const std::string&)>> modes = {
      {"copies", copies},
      {"after", after},
      {"cycles", [](const std::string& path, const std::string&) { cycles(path); }},
      {"late", [](const std::string& path, const std::string&) { late(path); }},
  };
  try {
    require(argc >= 3 && modes.count(argv[1]) == 1, "usage: see the head of kelLoading.cpp");
    modes.at(argv[1])(argv[2], argc > 3 ? argv[3] : "");
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
