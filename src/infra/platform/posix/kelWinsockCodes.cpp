#include "platform/posix/kelWinsockCodes.hpp"

#include "platform/kelWinsock.hpp"

#include <netdb.h>

#include <algorithm>
#include <cerrno>

namespace tarvo::platform::posix {

constinit const std::array<CodePair, 44> errnoCodes = {{
    {EINTR, 10004},           {EBADF, 10038},           {EPERM, 10013},         {EACCES, 10013},
    {EFAULT, 10014},          {EINVAL, 10022},          {EMFILE, 10024},        {ENFILE, 10024},
    {EAGAIN, 10035},          {EINPROGRESS, 10036},     {EALREADY, 10037},      {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039},    {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},    {ENOPROTOOPT, 10042},
    {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044}, {EOPNOTSUPP, 10045},    {EPFNOSUPPORT, 10046},
    {EAFNOSUPPORT, 10047},    {EADDRINUSE, 10048},      {EADDRNOTAVAIL, 10049}, {ENETDOWN, 10050},
    {ENETUNREACH, 10051},     {ENETRESET, 10052},       {ECONNABORTED, 10053},  {ECONNRESET, 10054},
    {EPIPE, 10054},           {ENOBUFS, 10055},         {ENOMEM, 10055},        {EISCONN, 10056},
    {ENOTCONN, 10057},        {ESHUTDOWN, 10058},       {ETOOMANYREFS, 10059},  {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061},    {ELOOP, 10062},           {ENAMETOOLONG, 10063},  {EHOSTDOWN, 10064},
    {EHOSTUNREACH, 10065},    {EUSERS, 10068},          {EDQUOT, 10069},        {ESTALE, 10070},
}};

constinit const std::array<CodePair, 9> resolverCodes = {{
    {EAI_NONAME, wsa::hostNotFound},
    {EAI_NODATA, wsa::hostNotFound},
    {EAI_AGAIN, wsa::tryAgain},
    {EAI_FAIL, wsa::noRecovery},
    {EAI_BADFLAGS, wsa::invalidArgument},
    {EAI_FAMILY, wsa::familyNotSupported},
    {EAI_SOCKTYPE, wsa::socketTypeNotSupported},
    {EAI_SERVICE, wsa::typeNotFound},
    {EAI_MEMORY, wsa::notEnoughMemory},
}};

namespace {

template <std::size_t N>
int lookUp(const std::array<CodePair, N>& table, int CodePair::*from, int CodePair::*to, int code,
           int otherwise) {
  const auto* const found =
      std::find_if(table.begin(), table.end(), [&](const CodePair& pair) { return pair.*from == code; });
  return found == table.end() ? otherwise : (*found).*to;
}

}  // namespace

int winsockCode(int errnoValue) noexcept {
  return lookUp(errnoCodes, &CodePair::posix, &CodePair::winsock, errnoValue, wsa::systemCallFailure);
}

int winsockResolverCode(int result) noexcept {
  return lookUp(resolverCodes, &CodePair::posix, &CodePair::winsock, result, wsa::noRecovery);
}

int posixResolverCode(int code) noexcept {
  return lookUp(resolverCodes, &CodePair::winsock, &CodePair::posix, code, 0);
}

}  // namespace tarvo::platform::posix
