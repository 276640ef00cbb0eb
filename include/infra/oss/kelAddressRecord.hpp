#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSocket.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// Checks and prints an address record (`Socket::_AddrInfoExternal`): the addresses to which a host name
/// resolves, in a form that one process can send to another. The bytes of the record may be untrusted: the
/// functions read no byte outside the given range.
///
///     Socket::_AddrInfoExternal record;
///     Socket::resolveAddrInfo("127.0.0.1", 4711, record);
///     AddressRecord::check(&record, sizeof record).fault == AddressRecord::NONE;  // -> true
///     AddressRecord::toString(record);  // -> "host 127.0.0.1 port 4711; address 127.0.0.1 port 4711"
///     AddressRecord::check(&record, 100).fault == AddressRecord::WRONG_LENGTH;    // -> true
///
/// Threads: any thread may call the functions at any time. The only error of the functions is std::bad_alloc,
/// if memory is exhausted.
class KELINFRA_API AddressRecord {
 public:
  enum Fault {
    NONE,                  ///< no fault
    WRONG_LENGTH,          ///< the length is not 3000, the size of a record
    NO_LIST,               ///< the record is empty: `Socket::connect` resolves the host itself
    USED_TOO_LARGE,        ///< the record states more used bytes than a record has room for
    HOST_NOT_TERMINATED,   ///< the first 1025 used bytes, which begin with the host, have no NUL
    TRUNCATED,             ///< a field does not fit into the remaining used bytes
    WRONG_ADDRESS_LENGTH,  ///< the length of an address does not suit its family
    EMPTY_LIST,            ///< the list has no entry
    UNKNOWN_FAMILY,        ///< the family of an entry is neither IPv4 nor IPv6
    DIFFERENT_FAMILY       ///< the family in an address differs from the family of its entry
  };

  struct Result {
    Fault fault;
    unsigned int offset;   ///< the byte of the record at which the field with the fault begins, or the end
    unsigned int entries;  ///< the number of entries that can be read
  };

  AddressRecord() = delete;

  /// Checks a range of bytes. `Socket::connect` refuses a record with one of the faults from USED_TOO_LARGE
  /// to EMPTY_LIST. `Socket::connect` accepts a record with UNKNOWN_FAMILY or DIFFERENT_FAMILY, but an
  /// attempt to connect to an address of an unknown family fails at once. If a record has several faults,
  /// `check` reports the first of the faults that `connect` refuses. If `connect` accepts a record with all
  /// these faults, `check` reports the first fault.
  ///   bytes   may be null if the length is 0
  static Result check(const void* bytes, unsigned long long length);
  /// Returns the name of the enumerator, such as "NONE".
  static const char* nameOf(Fault fault) noexcept;

  /// Returns the record in one line: the host and port that were resolved, then each address with its port.
  /// In the host, a backslash and every byte that is not a visible ASCII character are written as \xHH. If
  /// the record has a fault, the line contains the fields that could be read, followed by "; fault NAME at
  /// byte N".
  static icu::UnicodeString toString(const Socket::_AddrInfoExternal& record);
};

}  // namespace tarvo::oss
