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

/// Returns the Winsock code for an errno value, or `wsa::systemCallFailure` if Winsock has no code for it.
int winsockCode(int errnoValue) noexcept;

/// Returns the Winsock code for a result of getaddrinfo. The table has no entry for EAI_SYSTEM, because the
/// result EAI_SYSTEM means that errno contains the code.
int winsockResolverCode(int result) noexcept;

/// Returns the result of getaddrinfo for a Winsock code of the resolver, or 0 if no result has this code.
int posixResolverCode(int code) noexcept;

}  // namespace tarvo::platform::posix
