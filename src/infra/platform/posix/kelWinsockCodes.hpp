#pragma once

#include <array>

/// The tables between POSIX codes and Winsock codes. Data only.
namespace tarvo::platform::posix {

struct CodePair {
  int posix;
  int winsock;
};

extern const std::array<CodePair, 44> errnoCodes;
extern const std::array<CodePair, 9> resolverCodes;

/// The Winsock code of an errno value; `wsa::systemCallFailure` if there is no counterpart.
int winsockCode(int errnoValue) noexcept;

/// The Winsock code of a getaddrinfo result. EAI_SYSTEM has no entry: errno has the code then.
int winsockResolverCode(int result) noexcept;

/// The getaddrinfo result for a Winsock resolver code; 0 if there is no counterpart.
int posixResolverCode(int code) noexcept;

}  // namespace tarvo::platform::posix
