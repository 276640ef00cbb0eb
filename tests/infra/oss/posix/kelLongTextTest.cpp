#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"

#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <limits>
#include <string>

/// Texts above the largest int.
namespace tarvo::test {
namespace {

using oss::Converter;
using oss::NLSException;
using oss::UTF8Iterator;

constexpr int largestInt = std::numeric_limits<int>::max();

/// 2^31 characters "x" and their terminator, in the memory of one MiB: one file, mapped again and again.
class LongText {
 public:
  LongText() {
    const int file = memfd_create("text", 0);
    const std::string piece(pieceSize, 'x');
    const bool written = write(file, piece.data(), pieceSize) == static_cast<ssize_t>(pieceSize);
    void* const place = mmap(nullptr, size + pieceSize, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (place != MAP_FAILED && written) {
      text_ = static_cast<char*>(place);
      for (std::size_t at = 0; at < size; at += pieceSize) {
        if (mmap(text_ + at, pieceSize, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0) == MAP_FAILED)
          text_ = nullptr;
      }
    }
    close(file);
  }
  LongText(const LongText&) = delete;
  LongText& operator=(const LongText&) = delete;
  ~LongText() {
    if (text_ != nullptr) munmap(text_, size + pieceSize);
  }

  const char* get() const { return text_; }

 private:
  static constexpr std::size_t pieceSize = std::size_t{1} << 20;
  static constexpr std::size_t size = std::size_t{1} << 31;

  char* text_ = nullptr;
};

TEST(TextAboveTheLargestInt, IsHandledByNone) {
  const LongText text;
  ASSERT_NE(text.get(), nullptr);
  EXPECT_THAT([&] { Converter::convert(nullptr, 0, "UTF-8", text.get(), "UTF-8"); },
              Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-8", "UTF-8").from("kelConverter.cpp"));
  EXPECT_THAT([&] { Converter::convert(nullptr, 0, "UTF-8", text.get(), "latin1"); },
              Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "latin1", "UTF-8").from("kelConverter.cpp"));
  char room = '#';
  EXPECT_THAT([&] { Converter::convert(&room, largestInt, "UTF-8", text.get(), "UTF-8"); },
              Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", largestInt).from("kelConverter.cpp"));
  EXPECT_EQ(room, '#');
  const UTF8Iterator iterator(text.get());
  EXPECT_TRUE(iterator.isEmpty());
}

}  // namespace
}  // namespace tarvo::test
