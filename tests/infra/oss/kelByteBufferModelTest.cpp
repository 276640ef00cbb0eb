#include "infra/oss/kelByteBuffer.hpp"

#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

// Random operations on three buffers and on slow models of them. After each step, the buffers and the models
// are compared in everything that callers can observe.

namespace tarvo::test {
namespace {

using oss::ByteBuffer;

constexpr unsigned long long GiB = 1ULL << 30;

/// A model of a buffer: its bytes, and its capacity, which grows to powers of two.
class Model {
 public:
  explicit Model(unsigned long long reserved = 0) { makeRoom(reserved + 1); }

  void set(const std::string& bytes) {
    makeRoom(bytes.size() + 1);
    bytes_ = bytes;
  }
  void append(const std::string& bytes) {
    if (bytes.empty()) return;
    makeRoom(bytes_.size() + bytes.size() + 1);
    bytes_ += bytes;
  }
  void clear() {
    makeRoom(1);
    bytes_.clear();
  }
  void assign(const Model& other) {
    if (other.capacity_ != 0) set(std::string(other.bytes_));
  }
  void loseStorage() {
    bytes_.clear();
    capacity_ = 0;
  }

  bool hasStorage() const { return capacity_ != 0; }
  const std::string& bytes() const { return bytes_; }
  unsigned long long capacity() const { return capacity_; }
  bool equals(const Model& other) const { return other.hasStorage() && bytes_ == other.bytes_; }

 private:
  void makeRoom(unsigned long long need) {
    if (need <= capacity_) return;
    std::vector<unsigned long long> powers;
    for (unsigned long long power = 4; power <= GiB; power += power) powers.push_back(power);
    std::size_t fitting = 0;
    while (powers.at(fitting) < need) ++fitting;
    capacity_ = powers[fitting];
  }

  std::string bytes_;
  unsigned long long capacity_ = 0;
};

TEST(ByteBufferModel, GivesTheExpectedCapacities) {
  EXPECT_EQ(Model().capacity(), 4U);
  EXPECT_EQ(Model(3).capacity(), 4U);
  EXPECT_EQ(Model(4).capacity(), 8U);
  EXPECT_EQ(Model(100).capacity(), 128U);
  Model model;
  model.append("abcde");
  EXPECT_EQ(model.bytes(), "abcde");
  EXPECT_EQ(model.capacity(), 8U);
  model.append("fg");
  EXPECT_EQ(model.capacity(), 8U);
  model.append("h");
  EXPECT_EQ(model.capacity(), 16U);
  model.clear();
  EXPECT_EQ(model.bytes(), "");
  EXPECT_EQ(model.capacity(), 16U);
  EXPECT_TRUE(model.equals(Model()));
  model.loseStorage();
  EXPECT_EQ(model.capacity(), 0U);
  EXPECT_FALSE(Model().equals(model));
}

/// A long sequence of random operations. The seed determines all of them, so running the test with the same
/// seed repeats it.
class Walk {
 public:
  explicit Walk(unsigned int seed) : random_(seeded(seed)) {
    for (Pair& pair : pairs_) pair.real = std::make_unique<ByteBuffer>(0ULL);
  }

  void step() {
    Pair& pair = pairs_[below(pairs_.size())];
    const char* const block = pair.real->get();
    const unsigned long long capacity = pair.model.capacity();
    blockMayMove_ = false;
    change(pair);
    compare(pair);
    if (!blockMayMove_ && pair.model.capacity() == capacity) {
      EXPECT_EQ(pair.real->get(), block) << "moved by " << done_;
    }
    for (const Pair& other : rowsOf(pairs_)) {
      EXPECT_EQ(*pair.real == *other.real, pair.model.equals(other.model)) << "after " << done_;
      EXPECT_EQ(*other.real == *pair.real, other.model.equals(pair.model)) << "after " << done_;
    }
  }

 private:
  struct Pair {
    std::unique_ptr<ByteBuffer> real;
    Model model;
  };

  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(random_() % bound); }

  /// A random length: usually short, often next to a power of two, rarely long.
  std::size_t anyLength() {
    switch (below(4)) {
      case 0:
        return below(20);
      case 1:
        return (std::size_t{1} << (1 + below(11))) - 2 + below(4);
      case 2:
        return below(3);
      default:
        return below(10) == 0 ? below(20000) : below(200);
    }
  }
  std::string anyBytes() {
    std::string bytes(anyLength(), '\0');
    for (char& byte : bytes) byte = below(5) == 0 ? '\0' : static_cast<char>(random_());
    return bytes;
  }

  void change(Pair& pair) {
    static constexpr std::array operations = {
        &Walk::append,         &Walk::append,          &Walk::append,        &Walk::append,
        &Walk::appendPiece,    &Walk::fillTheCapacity, &Walk::set,           &Walk::setPiece,
        &Walk::clear,          &Walk::assign,          &Walk::construct,     &Walk::copy,
        &Walk::refuseToAppend, &Walk::refuseToSet,     &Walk::changeNothing,
    };
    (this->*operations[below(operations.size())])(pair);
  }

  void append(Pair& pair) {
    const std::string bytes = anyBytes();
    done_ = "append of " + std::to_string(bytes.size());
    pair.real->append(bytes.data(), bytes.size());
    pair.model.append(bytes);
  }
  /// Offset and length of a random piece of the buffer's contents, which may include the terminator.
  std::pair<std::size_t, std::size_t> anyPiece(const Model& model) {
    if (!model.hasStorage()) return {0, 0};
    const std::size_t start = below(model.bytes().size() + 1);
    return {start, below(model.bytes().size() + 2 - start)};
  }
  static std::string pieceOf(const Model& model, std::pair<std::size_t, std::size_t> piece) {
    return (model.bytes() + '\0').substr(piece.first, piece.second);
  }
  void appendPiece(Pair& pair) {
    const auto piece = anyPiece(pair.model);
    done_ = "append of its own " + std::to_string(piece.first) + " + " + std::to_string(piece.second);
    if (pair.model.bytes().size() > 100000) return;
    pair.real->append(pair.real->get() + piece.first, piece.second);
    pair.model.append(pieceOf(pair.model, piece));
  }
  /// Appends as many bytes as fit, or one more.
  void fillTheCapacity(Pair& pair) {
    const Model& model = pair.model;
    if (!model.hasStorage() || model.capacity() > 200000) return;
    const auto size = static_cast<std::size_t>(model.capacity() - 1 - model.bytes().size() + below(2));
    const std::string bytes(size, 'f');
    done_ = "append up to the capacity, of " + std::to_string(bytes.size());
    pair.real->append(bytes.data(), bytes.size());
    pair.model.append(bytes);
  }
  void set(Pair& pair) {
    const std::string bytes = anyBytes();
    done_ = "set to " + std::to_string(bytes.size());
    pair.real->set(bytes.data(), bytes.size());
    pair.model.set(bytes);
  }
  void setPiece(Pair& pair) {
    if (!pair.model.hasStorage()) return set(pair);
    const auto piece = anyPiece(pair.model);
    done_ = "set to its own " + std::to_string(piece.first) + " + " + std::to_string(piece.second);
    pair.real->set(pair.real->get() + piece.first, piece.second);
    pair.model.set(pieceOf(pair.model, piece));
  }
  void clear(Pair& pair) {
    done_ = "clear";
    pair.real->clear();
    pair.model.clear();
  }
  void assign(Pair& pair) {
    const Pair& other = pairs_[below(pairs_.size())];
    done_ = &other == &pair ? "assignment of itself" : "assignment";
    *pair.real = *other.real;
    pair.model.assign(other.model);
  }
  void construct(Pair& pair) {
    blockMayMove_ = true;
    const std::string bytes = anyBytes();
    if (below(2) == 0) {
      done_ = "construction with room for " + std::to_string(bytes.size());
      pair.real = std::make_unique<ByteBuffer>(static_cast<unsigned long long>(bytes.size()));
      pair.model = Model(bytes.size());
    } else {
      done_ = "construction from " + std::to_string(bytes.size());
      pair.real = std::make_unique<ByteBuffer>(bytes.data(), static_cast<unsigned long long>(bytes.size()));
      pair.model = Model(bytes.size());
      pair.model.set(bytes);
    }
  }
  void copy(Pair& pair) {
    blockMayMove_ = true;
    const Pair& other = pairs_[below(pairs_.size())];
    done_ = "copy construction";
    pair.real = std::make_unique<ByteBuffer>(*other.real);
    const Model source = other.model;
    pair.model = Model();
    pair.model.assign(source);
  }
  unsigned long long hopelessLength() {
    const unsigned long long lengths[] = {GiB, 2 * GiB, 4 * GiB, 1ULL << 63, ~0ULL};
    return lengths[below(5)] - (below(2) == 0 ? 0 : below(3));
  }
  void refuseToAppend(Pair& pair) {
    const unsigned long long length = hopelessLength();
    if (pair.model.bytes().size() + 1 + length <= GiB && length <= GiB) return;
    done_ = "append of " + std::to_string(length);
    EXPECT_THROW(pair.real->append("x", length), std::bad_alloc);
  }
  void refuseToSet(Pair& pair) {
    if (below(10) != 0) return;
    const unsigned long long length = hopelessLength();
    if (length + 1 <= GiB && length + 1 != 0) return;
    done_ = "set to " + std::to_string(length);
    EXPECT_THROW(pair.real->set("x", length), std::bad_alloc);
    pair.model.loseStorage();
  }
  void changeNothing(Pair& pair) {
    done_ = "null and nothing";
    pair.real->append(nullptr, anyLength());
    pair.real->append("x", 0);
    pair.real->set(nullptr, anyLength());
  }

  void compare(const Pair& pair) {
    const std::string& bytes = pair.model.bytes();
    ASSERT_EQ(pair.real->length(), bytes.size()) << "after " << done_;
    ASSERT_EQ(pair.real->getSize(), bytes.size()) << "after " << done_;
    ASSERT_EQ(pair.real->capacity(), pair.model.capacity()) << "after " << done_;
    ASSERT_EQ(pair.real->get() != nullptr, pair.model.hasStorage()) << "after " << done_;
    ASSERT_TRUE(pair.real->compare(bytes.data(), bytes.size())) << "after " << done_;
    if (!pair.model.hasStorage()) return;
    ASSERT_EQ(std::string(pair.real->get(), bytes.size()), bytes) << "after " << done_;
    ASSERT_EQ(pair.real->get()[bytes.size()], '\0') << "after " << done_;
  }

  std::mt19937 random_;
  std::array<Pair, 3> pairs_;
  std::string done_;
  bool blockMayMove_ = false;
};

class ByteBufferWalk : public ::testing::TestWithParam<unsigned int> {};

TEST_P(ByteBufferWalk, AgreesWithTheModelAtEveryStep) {
  ROW("seed", GetParam());
  Walk walk(GetParam());
  for (int step = 0; step < 2000; ++step) {
    ROW("step", step);
    walk.step();
    ASSERT_FALSE(HasFailure()) << "at step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ByteBufferWalk, ::testing::Range(1U, 11U));

}  // namespace
}  // namespace tarvo::test
