#pragma once

#include <array>

/// How POSIX codes and options are said in Winsock's numbers. Data only.
namespace tarvo::platform::posix {

struct CodePair {
  int posix;
  int winsock;
};

extern const std::array<CodePair, 44> errnoCodes;
extern const std::array<CodePair, 9> resolverCodes;

/// The Winsock code of an errno value; `wsa::systemCallFailure` for one without a counterpart.
int winsockCode(int errnoValue) noexcept;

/// The Winsock code of a getaddrinfo result (EAI_SYSTEM is not among them: it stands for errno).
int winsockResolverCode(int result) noexcept;

/// The getaddrinfo result that a Winsock resolver code stands for; 0 for none.
int posixResolverCode(int code) noexcept;

}  // namespace tarvo::platform::posix
