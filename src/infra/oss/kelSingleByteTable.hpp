#pragma once

#include <unicode/ucnv.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tarvo::oss {

/// A single-byte code page as ICU converts it, looked up instead of converted.
///
///     SingleByteTable* const table = SingleByteTable::of(converter);
///     if (table == nullptr || !table->fromUnicode(units, count, bytes, converter)) ...   // ICU has to
///
/// ICU itself says what stands in it: every entry is its answer to one unit or byte alone, substitutes and
/// fallbacks included. A unit is in the table where that answer is one byte whatever follows it. Others (halves
/// of pairs, units that ICU leaves out, the beginnings of sequences that a code page has a place for) are not,
/// and a text that has one is ICU's as a whole.
///
/// There is one table a code page in the process, by ICU's own name of it, so that aliases and threads share
/// it. It is made when a thread first opens the code page (some 20 us), and takes 66 KiB that are kept until
/// the process ends. Bytes to Unicode is complete then. From Unicode ICU is asked for 64 units at a time (3 us)
/// when the first of them is met: whole pages would take it milliseconds, and texts use little of them. Any
/// thread may ask at any time; all get and store the same answers.
class SingleByteTable {
 public:
  /// The table of the converter's code page. Null when that is no single-byte one, or when there is no memory.
  /// The converter is one with ICU's own callbacks, and is reset.
  static SingleByteTable* of(UConverter* converter);

  SingleByteTable(const SingleByteTable&) = delete;
  SingleByteTable& operator=(const SingleByteTable&) = delete;

  /// As many units as there are bytes, none of them half of a pair. They may be written to any address.
  void toUnicode(const char* bytes, std::size_t count, void* units) const;

  /// As many bytes as there are units. False when there is a unit that is not in the table; what has been
  /// written then is what ICU begins with. `converter` is asked for what is not known yet.
  bool fromUnicode(const char16_t* units, std::size_t count, char* bytes, UConverter* converter);

  /// Whether every unit is in the table.
  bool hasAll(const char16_t* units, std::size_t count, UConverter* converter);

 private:
  explicit SingleByteTable(const char* name);
  ~SingleByteTable() = default;

  static constexpr int notHere = -1;

  static SingleByteTable* find(SingleByteTable* first, const char* name);
  bool fill(UConverter* converter);
  void findOthers();
  bool isPlain(std::size_t unit) const;
  int byteOf(char16_t unit, UConverter* converter);
  void askAround(char16_t unit, UConverter* converter);
  std::uint64_t eightBytesOf(const char16_t* units) const;

  static constexpr std::size_t blockSize = 64;
  static constexpr std::size_t blocks = 0x10000 / blockSize;

  std::array<char, UCNV_MAX_CONVERTER_NAME_LENGTH> name_{};
  SingleByteTable* older_ = nullptr;  // the one made before this one
  std::size_t plain_ = 0;  // so many bytes mean the unit of the same number, and back: 256, 128 or 0
  // Bytes that mean units of other numbers stand from here to there, in Latin code pages few; where there is one at all.
  unsigned char firstOther_ = 0;
  unsigned char lastOther_ = 0;
  std::atomic<bool> zeroIsZero_ = false;
  std::array<char16_t, 256> units_{};
  // 0: not asked yet, or not in the table. No unit but U+0000 becomes a 0 in the code pages there are.
  std::array<std::atomic<unsigned char>, 0x10000> bytes_{};
  std::array<std::atomic<bool>, blocks> asked_{};
};

}  // namespace tarvo::oss
