// The main function of a fuzzer without an engine: runs the fuzzer with the contents of each file that is an
// argument. It ends with status 1 if there is no file or if one cannot be read.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
  if (count < 2) {
    std::fputs("usage: a fuzzer without an engine needs the names of input files\n", stderr);
    return 1;
  }
  for (int i = 1; i < count; ++i) {
    std::ifstream file(arguments[i], std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
      std::fprintf(stderr, "cannot read %s\n", arguments[i]);
      return 1;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%d inputs\n", count - 1);
  return 0;
}
