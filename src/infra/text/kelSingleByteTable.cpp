#include "text/kelSingleByteTable.hpp"

#include "machine/kelByteOrder.hpp"
#include "text/kelWords.hpp"

#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace tarvo::text {
namespace {

/// The list of all tables, the newest first. Tables are never removed.
constinit std::atomic<const SingleByteTable*> newest = nullptr;

bool isSingleByte(const UConverter* converter) {
  const UConverterType type = ucnv_getType(converter);
  return type == UCNV_SBCS || type == UCNV_LATIN_1 || type == UCNV_US_ASCII;
}

constexpr int noSingle = -1;

/// Asks ICU for the byte of a unit. Returns `noSingle` if the result is not exactly one byte. The text is
/// passed as unfinished, so ICU writes nothing for a unit that may begin a longer sequence. ICU is not asked
/// for surrogates, because their result depends on earlier input.
int askForByte(UConverter* converter, char16_t unit) {
  if (U16_IS_SURROGATE(unit)) return noSingle;
  std::array<char, 16> bytes;
  char* target = bytes.data();
  const char16_t* source = &unit;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_resetFromUnicode(converter);
  ucnv_fromUnicode(converter, &target, bytes.data() + bytes.size(), &source, source + 1, nullptr,
                   static_cast<UBool>(false), &status);
  const bool single = target == bytes.data() + 1 && ucnv_fromUCountPending(converter, &status) == 0;
  return single && U_SUCCESS(status) ? static_cast<unsigned char>(bytes.front()) : noSingle;
}

/// Asks ICU for the unit of a byte. Returns `noSingle` if the result is not exactly one unit.
int askForUnit(UConverter* converter, char byte) {
  std::array<char16_t, 16> units;
  char16_t* target = units.data();
  const char* source = &byte;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_resetToUnicode(converter);
  ucnv_toUnicode(converter, &target, units.data() + units.size(), &source, source + 1, nullptr,
                 static_cast<UBool>(false), &status);
  const bool single = target == units.data() + 1 && ucnv_toUCountPending(converter, &status) == 0;
  return single && U_SUCCESS(status) ? units.front() : noSingle;
}

}  // namespace

// --- made once

// The table keeps a copy of the name, because ICU frees the name if the program calls u_cleanup.
SingleByteTable::SingleByteTable(const char* name) : Codec(Kind::singleBytes) {
  std::memcpy(name_.data(), name, std::strlen(name));
}

const SingleByteTable* SingleByteTable::find(const SingleByteTable* first, const char* name) {
  while (first != nullptr && std::strcmp(first->name_.data(), name) != 0) first = first->older_;
  return first;
}

// If two threads create the same table at the same time, the second thread deletes its table and uses the
// table of the first thread.
const SingleByteTable* SingleByteTable::of(UConverter* converter) {
  UErrorCode status = U_ZERO_ERROR;
  const char* const name = isSingleByte(converter) ? ucnv_getName(converter, &status) : nullptr;
  if (name == nullptr || std::strlen(name) >= UCNV_MAX_CONVERTER_NAME_LENGTH) return nullptr;
  const SingleByteTable* first = newest.load(std::memory_order_acquire);
  if (const SingleByteTable* const known = find(first, name)) return known;
  auto* const table = new (std::nothrow) SingleByteTable(name);
  if (table == nullptr) return nullptr;
  const SingleByteTable* known = nullptr;
  const bool filled = table->fill(converter);
  while (filled && known == nullptr) {
    table->older_ = first;
    if (newest.compare_exchange_weak(first, table, std::memory_order_acq_rel)) return table;
    known = find(first, name);
  }
  delete table;
  return known;
}

/// Fills the direction to Unicode. Returns false if a byte does not become exactly one unit, or if it becomes
/// a surrogate.
bool SingleByteTable::fill(UConverter* converter) {
  for (std::size_t byte = 0; byte < units_.size(); ++byte) {
    const int unit = askForUnit(converter, static_cast<char>(byte));
    units_[byte] = static_cast<char16_t>(unit);
    if (unit == noSingle || U16_IS_SURROGATE(units_[byte])) return false;
  }
  zeroIsZero_ = askForByte(converter, u'\0') == 0;
  for (std::size_t unit = 0; unit < units_.size(); unit += blockSize) {
    askAround(static_cast<char16_t>(unit), converter);
  }
  std::size_t plain = 0;
  while (plain < units_.size() && isPlain(plain)) ++plain;
  plain_ = plain == 256 ? 256 : plain >= 128 ? 128 : 0;
  findOthers();
  ucnv_reset(converter);
  return true;
}

void SingleByteTable::findOthers() {
  for (std::size_t byte = units_.size(); byte-- > 0;) {
    if (units_[byte] == byte) continue;
    firstOther_ = static_cast<unsigned char>(byte);
    lastOther_ = std::max(lastOther_, firstOther_);
  }
}

bool SingleByteTable::isPlain(std::size_t unit) const {
  return units_[unit] == unit && bytes_[unit] == unit && (unit != 0 || zeroIsZero_);
}

// --- looked up

std::ptrdiff_t SingleByteTable::toUnits(const char* bytes, std::size_t count, void* units) const {
  for (std::size_t at = 0; at < count;) {
    if (plain_ == 256) {
      at += widenPlain(bytes + at, count - at, unitsAt(units, at), plain_);
    } else if (plain_ > 0) {
      at += widenOutside(bytes + at, count - at, unitsAt(units, at), firstOther_, lastOther_);
    }
    for (const std::size_t end = std::min(at + plainBlock, count); at < end; ++at) {
      std::memcpy(unitsAt(units, at), &units_[static_cast<unsigned char>(bytes[at])], sizeof(char16_t));
    }
  }
  return static_cast<std::ptrdiff_t>(count);
}

/// Returns the bytes of eight units as a number; the first byte is the lowest. A byte that is 0 means one of
/// three cases: the unit is not known yet, it is not in the table, or it is U+0000. The eight look-ups are
/// written out because compilers do not unroll a loop here.
[[gnu::always_inline]] inline std::uint64_t SingleByteTable::eightBytesOf(const char16_t* units) const {
  const auto byte = [&](unsigned i) {
    return std::uint64_t{bytes_[units[i]].load(std::memory_order_relaxed)} << (8 * i);
  };
  return ((byte(0) | byte(1)) | (byte(2) | byte(3))) | ((byte(4) | byte(5)) | (byte(6) | byte(7)));
}

std::int64_t SingleByteTable::toBytes(const char16_t* units, std::size_t count, char* bytes, std::size_t room,
                                      UConverter* converter) const {
  const std::size_t written = std::min(count, room);
  for (std::size_t at = 0; at < written;) {
    if (plain_ > 0) at += narrowPlain(units + at, written - at, bytes + at, plain_);
    const std::size_t end = std::min(at + plainBlock, written);
    for (; at + 8 <= end; at += 8) {
      const std::uint64_t word = eightBytesOf(units + at);
      if (hasZeroByte(word)) break;
      machine::putLittleEndian(bytes + at, word);
    }
    for (; at < end; ++at) {
      const int byte = byteOf(units[at], converter);
      if (byte == notHere) return icuHasTo;
      bytes[at] = static_cast<char>(byte);
    }
  }
  const bool complete = hasAll(units + written, count - written, converter);
  return complete ? static_cast<std::int64_t>(count) : icuHasTo;
}

bool SingleByteTable::hasAll(const char16_t* units, std::size_t count, UConverter* converter) const {
  for (std::size_t at = 0; at < count;) {
    const std::size_t end = std::min(at + plainBlock, count);
    while (at + 8 <= end && !hasZeroByte(eightBytesOf(units + at))) at += 8;
    for (; at < end; ++at) {
      if (byteOf(units[at], converter) == notHere) return false;
    }
  }
  return true;
}

int SingleByteTable::byteOf(char16_t unit, UConverter* converter) const {
  const std::atomic<unsigned char>& byte = bytes_[unit];
  if (const unsigned char known = byte.load(std::memory_order_relaxed)) return known;
  if (unit == 0) return zeroIsZero_.load(std::memory_order_relaxed) ? 0 : notHere;
  if (!asked_[unit / blockSize].load(std::memory_order_acquire)) askAround(unit, converter);
  const unsigned char known = byte.load(std::memory_order_relaxed);
  return known == 0 ? notHere : known;
}

/// Asks ICU for all units of the block that contains `unit`.
void SingleByteTable::askAround(char16_t unit, UConverter* converter) const {
  const std::size_t first = unit / blockSize * blockSize;
  for (std::size_t other = first; other < first + blockSize; ++other) {
    const int byte = askForByte(converter, static_cast<char16_t>(other));
    if (byte != noSingle) bytes_[other].store(static_cast<unsigned char>(byte), std::memory_order_relaxed);
  }
  asked_[unit / blockSize].store(true, std::memory_order_release);
}

}  // namespace tarvo::text
