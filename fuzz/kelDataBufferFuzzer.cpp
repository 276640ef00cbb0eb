#include "infra/oss/kelDataBuffer.hpp"

#include "kelFuzz.hpp"
#include "support/kelDataBufferModel.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>

/// Operations in any order; after each, the whole buffer is compared with the model.
namespace {

using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::oss::DataBuffer;
using tarvo::test::DataBufferModel;
using Bytes = DataBufferModel::Bytes;

constexpr int mostSteps = 12;
constexpr int mostLength = 16000;

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

class Pair {
 public:
  explicit Pair(Input& input) : input_(input) {}

  void step();
  void compare() const;

 private:
  std::string text();
  int position() { return static_cast<int>(input_.below(65536)) % (model_->length() + 20) - 8; }
  Bytes ownBytes(int from, int count) const {
    const auto start = model_->store().begin() + from;
    return {start, start + count};
  }
  void addText(bool append, bool counted);
  void addOwnPiece(bool append, bool counted);
  void addOther(bool append, bool itself);
  void addNumber(bool floating);
  void addBinary(bool upperCase);
  void addLatin(bool append);
  void renew(unsigned int how);

  Input& input_;
  std::unique_ptr<DataBuffer> buffer_ = std::make_unique<DataBuffer>(0);
  std::unique_ptr<DataBufferModel> model_ = std::make_unique<DataBufferModel>();
};

/// A few of the fuzzer's bytes, repeated up to a size that the input chooses.
std::string Pair::text() {
  const std::size_t size = input_.flag() ? input_.below(40) : input_.below(6000);
  const std::string pattern = input_.bytes(1 + input_.below(8));
  std::string text;
  while (text.size() < size) text += pattern.empty() ? "x" : pattern;
  text.resize(size);
  return text;
}

void Pair::addText(bool append, bool counted) {
  std::string given = text();
  const int at = append ? model_->length() : position();
  const int count = static_cast<int>(given.size());
  if (counted && append) buffer_->appendString(given.data(), count);
  if (counted && !append) buffer_->insertString(at, given.data(), count);
  if (!counted) given = given.c_str();
  if (!counted && append) buffer_->appendString(given.c_str());
  if (!counted && !append) buffer_->insertString(at, given.c_str());
  model_->insert(at, bytesOf(given));
}

void Pair::addOwnPiece(bool append, bool counted) {
  const int at = append ? model_->length() : position();
  const int start = static_cast<int>(input_.word()) % (model_->capacity() + 1);
  int count = static_cast<int>(input_.word()) % (model_->capacity() + 1 - start + 1);
  const char* const piece = buffer_->getString() + start;
  if (!counted) count = static_cast<int>(std::strlen(model_->store().data() + start));
  const Bytes expected = ownBytes(start, count);
  if (counted && append) buffer_->appendString(piece, count);
  if (counted && !append) buffer_->insertString(at, piece, count);
  if (!counted && append) buffer_->appendString(piece);
  if (!counted && !append) buffer_->insertString(at, piece);
  model_->insert(at, expected);
}

void Pair::addOther(bool append, bool itself) {
  const int at = append ? model_->length() : position();
  DataBuffer other(0);
  DataBufferModel otherModel;
  const std::string given = text();
  other.appendString(given.data(), static_cast<int>(given.size()));
  otherModel.insert(0, bytesOf(given));
  const DataBuffer& source = itself ? *buffer_ : other;
  const DataBufferModel& sourceModel = itself ? *model_ : otherModel;
  const Bytes expected(sourceModel.store().begin(), sourceModel.store().begin() + sourceModel.length());
  if (append) {
    buffer_->appendString(source);
  } else {
    buffer_->insertString(at, source);
  }
  model_->insert(at, expected);
}

void Pair::addNumber(bool floating) {
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits = bits << 8 | input_.byte();
  std::array<char, 400> digits;
  if (floating) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (value != value || value - value != 0) value = 0;  // the runtime chooses their text
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%f", value));
    buffer_->appendNumber(value);
  } else {
    const auto value = static_cast<long long>(bits);
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%lld", value));
    buffer_->appendNumber(value);
  }
  model_->insert(model_->length(), bytesOf(digits.data()));
}

void Pair::addBinary(bool upperCase) {
  const std::string data = text();
  buffer_->appendBinary(data.data(), static_cast<int>(data.size()), upperCase);
  std::string literal = "X'";
  for (const char byte : data) {
    std::array<char, 3> pair;
    static_cast<void>(std::snprintf(pair.data(), pair.size(), upperCase ? "%02X" : "%02x",
                                    static_cast<unsigned char>(byte)));
    literal += pair.data();
  }
  if (!data.empty()) model_->insert(model_->length(), bytesOf(literal + "'"));
}

void Pair::addLatin(bool append) {
  const std::string given = text();
  const int at = append ? model_->length() : position();
  icu::UnicodeString wide;
  for (const char byte : given) wide.append(static_cast<char16_t>(static_cast<unsigned char>(byte)));
  if (append) {
    buffer_->appendString(wide, "ISO-8859-1");
  } else {
    buffer_->insertString(at, wide, "ISO-8859-1");
  }
  model_->insert(at, bytesOf(given));
}

void Pair::renew(unsigned int how) {
  if (how < 2) {
    buffer_->clear(how == 1);
    model_->clear(how == 1);
  } else if (how == 2) {
    const int size = static_cast<int>(input_.below(9000)) - 10;
    buffer_ = std::make_unique<DataBuffer>(size);
    model_ = std::make_unique<DataBufferModel>(size);
  } else {
    buffer_ = std::make_unique<DataBuffer>(*buffer_);
    model_ = std::make_unique<DataBufferModel>(*model_);
  }
}

void Pair::step() {
  const unsigned int kind = input_.byte();
  const bool one = (kind & 0x40) != 0;
  const bool two = (kind & 0x80) != 0;
  switch (model_->length() > mostLength ? 8 : kind % 9) {
    case 0:
    case 1:
      return addText(one, two);
    case 2:
      return addOwnPiece(one, two);
    case 3:
      return addOther(one, two);
    case 4:
      return addNumber(one);
    case 5:
      return addBinary(one);
    case 6:
      return addLatin(one);
    case 7:
      return renew(2 + (one ? 1U : 0U));
    default:
      return renew(one ? 1U : 0U);
  }
}

void Pair::compare() const {
  expect(buffer_->length() == model_->length(), "the length");
  expect(buffer_->capacity() == model_->capacity(), "the capacity");
  const Bytes& expected = model_->store();
  expect(std::memcmp(buffer_->getString(), expected.data(), expected.size()) == 0, "the store");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  Pair pair(input);
  for (int i = 0; i < mostSteps && !input.isEmpty(); ++i) {
    pair.step();
    pair.compare();
  }
  return 0;
}
