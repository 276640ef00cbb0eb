#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSocket.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// Checks and prints an address record (`Socket::_AddrInfoExternal`), for example one that another process
/// has sent. The bytes may be hostile: no byte outside of the range is read.
///
///     Socket::_AddrInfoExternal record;
///     Socket::resolveAddrInfo("127.0.0.1", 4711, record);
///     AddressRecord::check(&record, sizeof record).fault == AddressRecord::NONE;  // -> true
///     AddressRecord::toString(record);  // -> "host 127.0.0.1 port 4711; address 127.0.0.1 port 4711"
///     AddressRecord::check(&record, 100).fault == AddressRecord::WRONG_LENGTH;    // -> true
///
/// Threads: any. The functions raise no error but std::bad_alloc if memory is exhausted.
class KELINFRA_API AddressRecord {
 public:
  enum Fault {
    NONE,                  ///< no fault
    WRONG_LENGTH,          ///< the range does not have the 3000 bytes of a record
    NO_LIST,               ///< a record without an address list: `Socket::connect` resolves the host itself
    USED_TOO_LARGE,        ///< more bytes are said to be in use than the record has
    HOST_NOT_TERMINATED,   ///< no NUL after the host within the used bytes and the first 1025 bytes
    TRUNCATED,             ///< a field is longer than the used bytes that are left
    WRONG_ADDRESS_LENGTH,  ///< the length of an address does not suit its family
    EMPTY_LIST,            ///< the list has no entry
    UNKNOWN_FAMILY,        ///< the family of an entry is neither IPv4 nor IPv6
    DIFFERENT_FAMILY       ///< an address begins with another family than its entry states
  };

  struct Result {
    Fault fault;
    unsigned int offset;   ///< the byte of the record at which the field with the fault, or the end, lies
    unsigned int entries;  ///< the entries that can be read
  };

  AddressRecord() = delete;

  /// Checks a range of bytes. `Socket::connect` refuses a record with one of the faults from USED_TOO_LARGE
  /// to NO_ADDRESS. It reads records with the last two faults, but an attempt to connect to an address of an
  /// unknown family fails at once. If a record has several faults, the first one that `connect` refuses is
  /// reported, and otherwise the first one.
  ///   bytes   may be null if the length is 0
  static Result check(const void* bytes, unsigned long long length);
  /// The name of the enumerator, such as "NONE".
  static const char* nameOf(Fault fault) noexcept;

  /// Returns the record in one line: the host and port that were resolved, then each address with its port.
  /// In the host, every byte that is not a visible ASCII character is written as \xHH. Of a record with a
  /// fault, only what was read before the fault is returned, then "; fault NAME at byte N".
  static icu::UnicodeString toString(const Socket::_AddrInfoExternal& record);
};

}  // namespace tarvo::oss
