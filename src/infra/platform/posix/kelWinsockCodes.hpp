#pragma once

#include <array>

/// Tables that translate POSIX codes to Winsock codes and back.
namespace tarvo::platform::posix {

struct CodePair {
  int posix;
  int winsock;
};

extern const std::array<CodePair, 44> errnoCodes;
extern const std::array<CodePair, 9> resolverCodes;

/// Returns the Winsock code for an errno value; `wsa::systemCallFailure` if there is no counterpart.
int winsockCode(int errnoValue) noexcept;

/// Returns the Winsock code for a result of getaddrinfo. The table has no entry for EAI_SYSTEM: that result
/// means that errno contains the code.
int winsockResolverCode(int result) noexcept;

/// Returns the result of getaddrinfo for a Winsock code of the resolver; 0 if there is no counterpart.
int posixResolverCode(int code) noexcept;

}  // namespace tarvo::platform::posix
