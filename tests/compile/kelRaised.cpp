#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "oss/kelRaise.hpp"

// Errors whose class or arguments are not those of their identifier. The marked lines must not compile. All
// other lines must compile.

namespace {

using namespace tarvo::oss;
using namespace tarvo::oss::errors;
using tarvo::util::PropertiesException;
using Failure = SocketException;

[[maybe_unused]] void makeErrors(const icu::UnicodeString& text, unsigned int number, int code) {
  const SourcePlace place = SourcePlace::here();

  makeError<Failure>(ERR_SOCKET_CLOSED, Host{text}, Port{number});
  makeError<Failure>({ERR_SOCKET_CLOSED, place}, Host{text}, Port{number});
  makeError<Failure>(ERR_SOCKET_CLOSED);                                        // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, Host{text});                            // reported: convert|no match
  makeError<Failure>({ERR_SOCKET_CLOSED, place}, Host{text});                   // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, Host{text}, Port{number}, Code{code});  // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, Port{number}, Host{text});              // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, Text{text}, Port{number});              // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, Host{text}, Size{number});              // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, text, number);                          // reported: convert|no match
  makeError<Failure>("ERR_SOCKET_CLOSED", Host{text}, Port{number});            // reported: convert|no match
  makeError<Failure>(ERR_SOCKET_CLOSED, Host{text}, Port{code});                // reported: narrow|int
  makeError<Failure>(ERR_NOT_IN_THE_TABLE);                                     // reported: NOT_IN_THE_TABLE
  makeError<NLSException>(ERR_SOCKET_CLOSED, Host{text}, Port{number});         // reported: convert|no match

  makeError<PropertiesException>(ERR_PROPERTIES_BAD_REFERENCE, Name{text}, Name{text});
  makeError<PropertiesException>(ERR_PROPERTIES_BAD_REFERENCE, Name{text});  // reported: convert|no match
  makeError<PropertiesException>(ERR_PROPERTY_MISSING, Text{text});          // reported: convert|no match
  makeError<NLSException>(ERR_MSGLIST_EMPTY);
  makeError<NLSException>(ERR_MSGLIST_EMPTY, Text{text});  // reported: convert|no match

  makeError<Failure>(QN_ERR_SOCKET_ERROR, Code{code});
  makeError<Failure>(QN_ERR_SOCKET_ERROR, Code{code}, Host{text}, Port{number});
  makeError<Failure>(QN_ERR_SOCKET_ERROR, Code{code}, Host{text});    // reported: convert|no match
  makeError<Failure>(QN_ERR_SOCKET_ERROR, Host{text}, Port{number});  // reported: convert|no match
}

[[maybe_unused]] void raiseErrors(int what, const icu::UnicodeString& text) {
  if (what == 1) raise<PropertiesException>(ERR_PROPERTY_MISSING, Name{text});
  if (what == 2) raise<PropertiesException>(ERR_PROPERTY_MISSING);       // reported: convert|no match
  if (what == 3) raise<NLSException>(ERR_PROPERTY_MISSING, Name{text});  // reported: convert|no match
}

}  // namespace
