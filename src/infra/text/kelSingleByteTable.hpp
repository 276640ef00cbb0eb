#pragma once

#include "text/kelCodec.hpp"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tarvo::text {

/// A table of a single-byte code page, with the same results as ICU's converter.
///
///     const SingleByteTable* const table = SingleByteTable::of(converter);
///     if (table == nullptr || table->toBytes(units, count, bytes, room, converter) < 0) ...   // ICU has to
///
/// An entry of the table is ICU's result for a single unit or byte, including substitutes and fallbacks. A
/// unit is in the table if its result is always one byte, whatever follows the unit. So the table contains no
/// surrogate, no unit for which ICU writes no byte, and no unit that can begin a sequence with an encoding of
/// its own. ICU converts every text that contains a unit that is not in the table.
///
/// The process has one table for each code page. The table is stored under ICU's own name for the code page,
/// so aliases of the name and all threads share it. The library creates a table when a thread opens the code
/// page for the first time, which takes about 20 us. The table takes 66 KiB of memory until the process ends.
/// The part of the table that converts to Unicode is filled when the table is created. The part that converts
/// from Unicode consists of blocks of 64 units. The library fills a block when a text contains a unit of the
/// block for the first time, which takes 3 us. Filling the whole part would take milliseconds, and texts use
/// few blocks. Any thread may use a table at any time; all threads read and store the same entries.
/// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): never deleted through the base
class SingleByteTable final : public Codec {
 public:
  /// Returns the table of the converter's code page, or null if the code page is not a single-byte code page
  /// or if there is no memory. The converter must have ICU's default callbacks; the function resets it.
  static const SingleByteTable* of(UConverter* converter);

  /// The function converts every text, so it never returns `icuHasTo`. The result contains no surrogates.
  std::ptrdiff_t toUnits(const char* bytes, std::size_t count, void* units) const override;

  /// The function uses `converter` for units that are not known yet.
  std::int64_t toBytes(const char16_t* units, std::size_t count, char* bytes, std::size_t room,
                       UConverter* converter) const override;

 private:
  explicit SingleByteTable(const char* name);
  ~SingleByteTable() = default;

  static constexpr int notHere = -1;

  static const SingleByteTable* find(const SingleByteTable* first, const char* name);
  bool fill(UConverter* converter);
  void findOthers();
  bool isPlain(std::size_t unit) const;
  bool hasAll(const char16_t* units, std::size_t count, UConverter* converter) const;
  int byteOf(char16_t unit, UConverter* converter) const;
  void askAround(char16_t unit, UConverter* converter) const;
  std::uint64_t eightBytesOf(const char16_t* units) const;

  static constexpr std::size_t blockSize = 64;
  static constexpr std::size_t blocks = 0x10000 / blockSize;

  std::array<char, UCNV_MAX_CONVERTER_NAME_LENGTH> name_{};
  const SingleByteTable* older_ = nullptr;  // the table made before this one
  std::size_t plain_ = 0;                   // units below this are the byte of the same number: 256, 128 or 0
  // The first and the last byte whose unit has a different number than the byte; valid only if there are such
  // bytes. Latin code pages have few such bytes.
  unsigned char firstOther_ = 0;
  unsigned char lastOther_ = 0;
  std::atomic<bool> zeroIsZero_ = false;
  std::array<char16_t, 256> units_{};
  // The byte of each unit. 0 means that ICU was not asked yet or that the unit is not in the table. In the
  // existing code pages only U+0000 becomes a byte of 0.
  mutable std::array<std::atomic<unsigned char>, 0x10000> bytes_{};
  mutable std::array<std::atomic<bool>, blocks> asked_{};
};

}  // namespace tarvo::text
