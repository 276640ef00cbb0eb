#pragma once

#include "infra/oss/kelStrictConverter.hpp"

#include "text/kelCodec.hpp"

#include <unicode/ucnv.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tarvo::oss {

/// The mechanism of `StrictConverter`. The stream converts in two ways: in blocks, which is fast, and in
/// steps, which find the place of a fault.
///
/// A block is a piece of the source of up to `blockSize` bytes. The stream converts a block at once, with the
/// codec of the code page if the code page has a codec, and otherwise with a converter of ICU. If the block
/// may contain a fault, the stream discards the conversion and keeps its old state.
///
/// A step converts one code unit of the source. The stream converts short windows, blocks that may contain a
/// fault, and characters that continue in the next window in steps, because a step finds the exact place of a
/// fault. The steps are the same for every size of the windows, so the faults do not depend on the sizes.
class StrictStream {
 public:
  using Status = StrictConverter::Status;
  using Fault = StrictConverter::Fault;

  /// `offset` is the number of bytes that precede the stream. The offset of a fault includes the bytes that
  /// precede the stream. If ICU does not know one of the names, `isOpen` returns false, and the caller must
  /// not use the stream.
  StrictStream(const char* from, const char* to, std::uint64_t offset = 0);

  bool isOpen() const { return from_.converter != nullptr && to_.converter != nullptr; }
  const std::string& fromName() const { return from_.name; }
  const std::string& toName() const { return to_.name; }
  bool readsUnicode() const { return from_.isUnicode(); }
  bool writesUnicode() const { return to_.isUnicode(); }
  const Fault& fault() const { return fault_; }

  Status convert(const char*& source, const char* sourceEnd, char*& target, char* targetEnd, bool last);
  void replaceFault(std::int32_t character);

 private:
  struct Close {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
  };
  using OwnConverter = std::unique_ptr<UConverter, Close>;

  struct Page {
    explicit Page(const char* codePage);
    bool is(text::Codec::Kind kind) const { return codec != nullptr && codec->kind() == kind; }
    bool isUnicode() const { return is(text::Codec::Kind::utf16); }
    bool canBeCopied() const;
    bool hasOneResult() const;

    std::string name;
    OwnConverter converter;              // stops at faults; null if ICU does not know the name
    const text::Codec* codec = nullptr;  // null if ICU converts the blocks
    OwnConverter substituting;           // writes substitutes; only for a codec of single bytes
  };

  /// The place of a character.
  struct Place {
    std::uint64_t offset;
    std::uint64_t line;
    std::uint64_t column;
  };

  struct QueuedUnit {
    char16_t unit;
    Place place;
  };

  static constexpr std::size_t blockSize = 2048;
  static constexpr std::size_t smallestBlock = 32;
  static constexpr std::size_t pivotSize = 2 * blockSize + 64;
  static constexpr std::size_t queueSize = 256;
  static constexpr std::size_t remembered = 64;

  enum class Stage : std::uint8_t { converting, ending, ended };

  // blocks
  bool convertBlock(const char*& source, const char* sourceEnd, char*& target, const char* targetEnd);
  bool isBetweenCharacters() const;
  std::ptrdiff_t decodeBlock(const char* source, std::size_t& size);
  std::ptrdiff_t encodeBlock(std::size_t units, char* target, std::size_t room);
  void movePast(const char16_t* units, std::size_t count);

  // steps
  void takeUnit(const char*& source, const char* sourceEnd);
  void decodeStep(bool flush);
  bool encodeStep(bool flush);
  void queue(const char16_t* units, std::size_t count, std::uint64_t offset);
  void keepDecodeFault(UErrorCode status);
  void keepEncodeFault();
  std::uint64_t placeOfNext(std::uint64_t length) const;
  bool writeWaiting(char*& target, const char* targetEnd);

  Page from_;
  Page to_;
  Stage stage_ = Stage::converting;
  bool decodeFailed_ = false;  // whether `decodeFault_` follows the queued units
  Fault fault_{};
  Fault decodeFault_{};
  std::uint64_t start_;
  std::uint64_t decoded_;         // the offset after the bytes that the decoder has read
  std::uint64_t stepsUntil_ = 0;  // before this offset the stream tries no blocks
  std::uint64_t line_ = 1;        // the line of the next decoded character
  std::uint64_t column_ = 1;      // the column of the next decoded character
  std::size_t unitSize_ = 1;      // the number of bytes of a code unit of the source
  std::array<char, 2> unit_{};    // bytes of the source that the decoder has not read
  std::size_t unitFilled_ = 0;
  std::uint64_t encoded_ = 0;  // the number of units that the encoder has read in steps
  char16_t lastEncoded_ = 0;
  std::array<Place, remembered> places_{};  // the places of the last units that the encoder has read
  std::array<QueuedUnit, queueSize + 2> queue_{};
  std::size_t queueAt_ = 0;
  std::size_t queueEnd_ = 0;
  std::unique_ptr<char16_t[]> pivot_;
  std::size_t waitingSize_ = 0;
  std::unique_ptr<char[]> waiting_;  // converted bytes that did not fit into the target
  std::size_t waitingAt_ = 0;
  std::size_t waitingEnd_ = 0;
};

}  // namespace tarvo::oss
