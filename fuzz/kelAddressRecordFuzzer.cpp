#include "infra/oss/kelAddressRecord.hpp"
#include "infra/oss/kelSocket.hpp"

#include "kelFuzz.hpp"
#include "oss/kelAddrInfo.hpp"
#include "support/kelAddrInfoModel.hpp"

#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// Address records of an untrusted source, and those that the library writes, compared with the model.
namespace {

using tarvo::fuzz::errorOf;
using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::ToldError;
using tarvo::oss::AddressList;
using tarvo::oss::AddressRecord;
using tarvo::oss::Socket;
using tarvo::platform::ResolvedAddress;
using tarvo::test::Bytes;
using tarvo::test::littleEndian;
using tarvo::test::modelRead;
using tarvo::test::recordOf;
using tarvo::test::recordSize;
using tarvo::test::usedArea;

/// A separate block of exactly 3000 bytes, so that the address sanitizer notices access outside of it.
std::unique_ptr<Socket::_AddrInfoExternal> onItsOwn(const Bytes& record) {
  auto copy = std::make_unique<Socket::_AddrInfoExternal>();
  std::memcpy(copy->bytes, record.data(), recordSize);
  return copy;
}

void compareReading(const Bytes& record) {
  const auto copy = onItsOwn(record);
  expect(tarvo::oss::holdsAddresses(*copy) == (record[0] != 0 || record[1] != 0), "whether there is a list");
  const std::optional<AddressList> expected = modelRead(record);
  std::optional<AddressList> list;
  const auto error = errorOf([&] { list = tarvo::oss::decodeAddrInfo(*copy); });
  expect(error == (expected ? std::nullopt : std::optional(ToldError{"QN_ERR_SOCKET_ERROR", {u"10022"}})),
         "whether a record can be read");
  expect(list == expected, "the addresses of a record");
  const AddressRecord::Result checked = AddressRecord::check(copy->bytes, recordSize);
  const bool readable = checked.fault == AddressRecord::NONE ||
                        checked.fault == AddressRecord::UNKNOWN_FAMILY ||
                        checked.fault == AddressRecord::DIFFERENT_FAMILY;
  expect(readable == expected.has_value(), "whether the check permits what connect reads");
  expect(!expected || checked.entries == expected->size(), "the number of entries");
  expect(checked.offset <= recordSize, "the place of the fault");
  const icu::UnicodeString text = AddressRecord::toString(*copy);
  bool visible = true;
  for (int i = 0; i < text.length(); ++i) visible = visible && text[i] >= ' ' && text[i] < 0x7F;
  expect(visible, "the text of a record");
}

ResolvedAddress addressFrom(Input& input) {
  constexpr int families[] = {2, 23, 0, 1, 99, -1};
  constexpr std::size_t lengths[] = {16, 28, 0, 15, 17, 27};
  const auto number = [&] { return static_cast<int>(input.word() << 16 | input.word()); };
  ResolvedAddress entry;
  const unsigned int kind = input.byte();
  entry.family = families[kind % std::size(families)];
  entry.flags = (kind & 0x40) != 0 ? number() : 0;
  entry.socketType = (kind & 0x80) != 0 ? number() : 1;
  entry.protocol = (kind & 0x80) != 0 ? number() : 6;
  const std::size_t chosen = input.byte();
  const std::size_t length = chosen < 200 ? lengths[chosen % 3 * (kind % 2)] : chosen - 200;
  const Bytes address = input.bytes(length);
  entry.address.assign(address.begin(), address.end());
  entry.address.resize(length, 7);
  entry.canonicalName = input.bytes(input.below(32));
  if (kind >= 0xF0) entry.canonicalName += Bytes(input.word(), 'c');
  return entry;
}

/// Writes a list and returns the record; nothing if the list does not fit.
std::optional<Bytes> compareWriting(Input& input) {
  Bytes host = input.bytes(input.below(40));
  host = host.c_str();
  if (input.byte() >= 0xF0) host += Bytes(input.below(1200), 'h');
  const auto port = static_cast<unsigned short>(input.word());
  AddressList list;
  for (unsigned int left = input.below(6); left > 0; --left) list.push_back(addressFrom(input));
  if (input.byte() >= 0xF0 && !list.empty()) list.resize(input.below(100), list.back());

  const Bytes area = usedArea(host, port, list);
  const bool fits = host.size() <= 1024 && area.size() <= recordSize - 2;
  const Bytes before(recordSize, '\x5A');
  const auto record = onItsOwn(before);
  expect(tarvo::oss::encodeAddrInfo(host, port, list, *record) == fits, "whether a list fits");
  const Bytes written(reinterpret_cast<const char*>(record->bytes), recordSize);
  expect(written == (fits ? recordOf(area, area.size()) : before), "the record of a list");
  if (!fits) return std::nullopt;
  return written;
}

/// Damages the record in one of the ways in which an untrusted record can be wrong.
void damage(Bytes& record, Input& input) {
  const std::size_t used =
      static_cast<unsigned char>(record[0]) + 256U * static_cast<unsigned char>(record[1]);
  const std::size_t at = 2 + input.word() % (std::min(used, recordSize - 2) + 4);
  const unsigned int kind = input.byte();
  switch (kind % 4) {
    case 0:
      record.replace(0, 2, littleEndian(kind < 128 ? used + input.byte() - 128 : input.word(), 2));
      break;
    case 1:
      record.replace(std::min(at, recordSize - 8), 8, littleEndian(input.word(), 8));
      break;
    case 2:
      record[std::min(at, recordSize - 1)] = static_cast<char>(input.byte());
      break;
    default:
      record.erase(std::min(at, recordSize - 1), 1 + input.below(4));
      record.resize(recordSize, static_cast<char>(input.byte()));
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.flag()) {
    const char filler = static_cast<char>(input.byte());
    Bytes record = input.bytes(recordSize);
    record.resize(recordSize, filler);
    compareReading(record);
    return 0;
  }
  std::optional<Bytes> record = compareWriting(input);
  if (!record) return 0;
  compareReading(*record);
  for (unsigned int damages = input.below(4); damages > 0; --damages) {
    damage(*record, input);
    compareReading(*record);
  }
  return 0;
}
