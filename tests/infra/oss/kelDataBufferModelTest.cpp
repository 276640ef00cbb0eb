#include "infra/oss/kelDataBuffer.hpp"

#include "support/kelDataBufferModel.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using oss::DataBuffer;

using Bytes = std::vector<char>;
using Model = DataBufferModel;

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

std::string front(const Bytes& store, std::size_t count) {
  return {store.begin(), store.begin() + static_cast<std::ptrdiff_t>(count)};
}

TEST(DataBufferModel, MovesTheTailOnlyUpToTheFirstZero) {
  Model model;
  model.insert(0, bytesOf(std::string_view("ab\0cd", 5)));
  model.insert(1, bytesOf("XY"));
  EXPECT_EQ(front(model.store(), 8), std::string("aXYbd\0\0\0", 8));
  EXPECT_EQ(model.length(), 7);
}

TEST(DataBufferModel, CutsTheTextAtAZeroWhenItGrows) {
  Model model;
  model.insert(0, bytesOf(std::string_view("ab\0cd", 5)));
  model.insert(5, Bytes(4096, 'z'));
  EXPECT_EQ(model.length(), 2 + 4096);
  EXPECT_EQ(model.capacity(), 5 + 4096 + 4096);
  EXPECT_EQ(front(model.store(), 3), "abz");
}

TEST(DataBufferModel, ShowsOldBytesOnlyAfterAClearThatKeepsThem) {
  Model model;
  model.insert(0, bytesOf("abcdef"));
  model.clear(true);
  model.insert(0, bytesOf("x"));
  EXPECT_EQ(front(model.store(), 6), "xbcdef");
  model.insert(1, bytesOf("y"));
  EXPECT_EQ(front(model.store(), 8), std::string("xybcdef\0", 8));
  EXPECT_EQ(model.length(), 2);
  model.clear(false);
  EXPECT_EQ(front(model.store(), 8), std::string(8, '\0'));
}

/// Random operations on a buffer and its model. The parameter is the seed. To repeat a failure, run the test
/// of that seed by its name.
class DataBufferSteps : public ::testing::TestWithParam<unsigned> {
 protected:
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  bool oneIn(int times) { return below(times) == 0; }

  Bytes randomBytes() {
    const int size = oneIn(10) ? below(6000) : oneIn(3) ? below(600) : below(20);
    Bytes bytes(static_cast<std::size_t>(size));
    for (char& byte : bytes) byte = static_cast<char>(1 + below(255));
    const bool zeros = size > 0 && oneIn(6);
    for (int i = zeros ? 1 + below(3) : 0; i > 0; --i) bytes[static_cast<std::size_t>(below(size))] = '\0';
    return bytes;
  }

  int randomPosition() { return below(buffer_->length() + 20) - 8; }

  Bytes modelBytes(int from, int count) const {
    const auto start = model_->store().begin() + from;
    return {start, start + count};
  }

  static Bytes upToZero(Bytes bytes) {
    bytes.erase(std::find(bytes.begin(), bytes.end(), '\0'), bytes.end());
    return bytes;
  }

  void expectEqual() {
    ASSERT_EQ(buffer_->length(), model_->length());
    ASSERT_EQ(buffer_->capacity(), model_->capacity());
    const Bytes& expected = model_->store();
    const Bytes found(buffer_->getString(), buffer_->getString() + buffer_->capacity() + 1);
    const auto differ = std::mismatch(expected.begin(), expected.end(), found.begin());
    ASSERT_TRUE(differ.first == expected.end()) << "at byte " << differ.first - expected.begin();
  }

  std::string step();
  std::string addText();
  std::string addOwnPiece();
  std::string addConverted();
  std::string addNumber();
  std::string addBinary();
  std::string addBuffer();
  std::string renew();

  std::mt19937 random_{seeded(GetParam())};
  std::unique_ptr<DataBuffer> buffer_ = std::make_unique<DataBuffer>(0);
  std::unique_ptr<Model> model_ = std::make_unique<Model>();
};

std::string DataBufferSteps::addText() {
  Bytes text = randomBytes();
  const int count = static_cast<int>(text.size());
  const int position = randomPosition();
  text.push_back('\0');
  switch (below(4)) {
    case 0:
      buffer_->appendString(text.data());
      model_->insert(model_->length(), upToZero(text));
      return "appendString(text)";
    case 1:
      buffer_->insertString(position, text.data());
      model_->insert(position, upToZero(text));
      return "insertString(position, text)";
    case 2:
      buffer_->appendString(text.data(), count);
      text.pop_back();
      model_->insert(model_->length(), text);
      return "appendString(text, count)";
    default:
      buffer_->insertString(position, text.data(), count);
      text.pop_back();
      model_->insert(position, text);
      return "insertString(position, text, count)";
  }
}

std::string DataBufferSteps::addOwnPiece() {
  const int position = randomPosition();
  const int limit = oneIn(4) ? buffer_->capacity() + 1 : buffer_->length() + 1;
  const int start = below(limit);
  const int count = below(std::min(limit - start, 3000) + 1);
  const char* const piece = buffer_->getString() + start;
  switch (below(3)) {
    case 0: {
      const Bytes text = upToZero(modelBytes(start, model_->capacity() + 1 - start));
      if (text.size() > 20000) return "nothing";
      buffer_->insertString(position, piece);
      model_->insert(position, text);
      return "insertString(position, own piece)";
    }
    case 1:
      buffer_->insertString(position, piece, count);
      model_->insert(position, modelBytes(start, count));
      return "insertString(position, own piece, count)";
    default:
      buffer_->appendString(piece, count);
      model_->insert(model_->length(), modelBytes(start, count));
      return "appendString(own piece, count)";
  }
}

void appendUtf8(Bytes& bytes, unsigned unit) {
  if (unit < 0x80) {
    bytes.push_back(static_cast<char>(unit));
  } else if (unit < 0x800) {
    bytes.push_back(static_cast<char>(0xC0 | unit >> 6));
    bytes.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
  } else {
    bytes.push_back(static_cast<char>(0xE0 | unit >> 12));
    bytes.push_back(static_cast<char>(0x80 | (unit >> 6 & 0x3F)));
    bytes.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
  }
}

std::string DataBufferSteps::addConverted() {
  const auto encodings = std::to_array<const char*>({"UTF-8", "ISO-8859-1", "UTF-16BE", "no-such-page"});
  const int encoding = below(4);
  const char* const page = encodings.at(static_cast<std::size_t>(encoding));
  const int units = oneIn(8) ? below(3000) : below(40);
  icu::UnicodeString text;
  Bytes expected;
  for (int i = 0; i < units; ++i) {
    const bool wide = encoding != 1 && oneIn(4);
    const auto unit = static_cast<unsigned>(oneIn(300) ? 0 : wide ? 0x100 + below(0x9000) : 1 + below(255));
    text.append(static_cast<char16_t>(unit));
    if (encoding == 0) appendUtf8(expected, unit);
    if (encoding == 2) expected.push_back(static_cast<char>(unit >> 8));
    if (encoding == 1 || encoding == 2) expected.push_back(static_cast<char>(unit));
  }
  const int position = randomPosition();
  const bool append = oneIn(2);
  if (append) {
    buffer_->appendString(text, page);
  } else {
    buffer_->insertString(position, text, page);
  }
  model_->insert(append ? model_->length() : position, expected);
  return std::string("text as ") + page;
}

std::string DataBufferSteps::addNumber() {
  const auto value = static_cast<long long>(static_cast<unsigned long long>(random_()) << 32 | random_());
  std::array<char, 400> digits;
  if (oneIn(2)) {
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%lld", value));
    buffer_->appendNumber(value);
  } else {
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%f", static_cast<double>(value) / 1000));
    buffer_->appendNumber(static_cast<double>(value) / 1000);
  }
  model_->insert(model_->length(), bytesOf(digits.data()));
  return std::string("appendNumber ") + digits.data();
}

std::string DataBufferSteps::addBinary() {
  const Bytes data = randomBytes();
  const bool upperCase = oneIn(2);
  buffer_->appendBinary(data.data(), static_cast<int>(data.size()), upperCase);
  std::string literal = "X'";
  for (const char byte : data) {
    std::array<char, 3> pair;
    static_cast<void>(std::snprintf(pair.data(), pair.size(), upperCase ? "%02X" : "%02x",
                                    static_cast<unsigned char>(byte)));
    literal += pair.data();
  }
  if (!data.empty()) model_->insert(model_->length(), bytesOf(literal + "'"));
  return "appendBinary";
}

std::string DataBufferSteps::addBuffer() {
  const int position = randomPosition();
  if (oneIn(2) && buffer_->length() < 12000) {
    const Bytes own = modelBytes(0, model_->length());
    buffer_->insertString(position, *buffer_);
    model_->insert(position, own);
    return "insertString(position, itself)";
  }
  const Bytes text = randomBytes();
  DataBuffer other(0);
  Model otherModel;
  other.appendString(text.data(), static_cast<int>(text.size()));
  otherModel.insert(0, text);
  const Bytes added(otherModel.store().begin(), otherModel.store().begin() + otherModel.length());
  buffer_->appendString(other);
  model_->insert(model_->length(), added);
  return "appendString(other)";
}

std::string DataBufferSteps::renew() {
  switch (below(5)) {
    case 0:
      buffer_->clear(false);
      model_->clear(false);
      return "clear(false)";
    case 1:
    case 2:
      buffer_->clear(true);
      model_->clear(true);
      return "clear(true)";
    case 3: {
      const int size = below(9000) - 10;
      buffer_ = std::make_unique<DataBuffer>(size);
      model_ = std::make_unique<Model>(size);
      return "DataBuffer(" + std::to_string(size) + ")";
    }
    default:
      buffer_ = std::make_unique<DataBuffer>(*buffer_);
      model_ = std::make_unique<Model>(*model_);
      return "DataBuffer(copy)";
  }
}

std::string DataBufferSteps::step() {
  if (buffer_->length() > 60000 || oneIn(12)) return renew();
  switch (below(8)) {
    case 0:
      return addConverted();
    case 1:
      return addNumber();
    case 2:
      return addBinary();
    case 3:
      return addBuffer();
    case 4:
      return addOwnPiece();
    default:
      return addText();
  }
}

TEST_P(DataBufferSteps, AgreeWithTheModel) {
  ROW("seed", GetParam());
  for (int i = 0; i < 1500; ++i) {
    ROW("i", i);
    const std::string what = step();
    ROW("step " + std::to_string(i) + ": " + what);
    expectEqual();
    if (HasFatalFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Seed, DataBufferSteps, ::testing::Range(1U, 25U));

}  // namespace
}  // namespace tarvo::test
