#pragma once

#include "referenceLimits.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace documents {

/// The server's settings; `server.properties` explains them. Times are milliseconds.
struct Settings {
  unsigned int port = 0;
  unsigned int backlog = 0;
  unsigned int clientLimit = 0;    ///< clients at once
  unsigned int clientTimeout = 0;  ///< of one wait on a client; 0: no limit
  unsigned int acceptTimeout = 0;  ///< without a new client, after which the server ends; 0: never
  unsigned int stopTimeout = 0;    ///< for those who are there when the server is stopped
  std::size_t requestLimit = 0;    ///< bytes of a request's frame
  ReferenceLimits references;  ///< in a client's properties; `produced` also limits the terms of an answer
  unsigned int top = 0;        ///< how many of the most frequent terms an answer lists
  std::string codePage;        ///< of documents whose request names none
  std::string delimiters;      ///< between words, in UTF-8
};

/// Reads them from the text of a properties file.
///   raises   PropertiesException: a property is missing, of the wrong type, or refers to what is not there
Settings readSettings(std::string_view text);

/// Answers a request's properties text with the answer's: decodes the document, converts it to UTF-8, splits
/// it and counts its terms.
///   raises   the library's error for what is wrong with the request, what `checkReferences` raises, and
///            PropertiesException ERR_TOO_MUCH_PRODUCED (limit): by the terms of the answer
///            PropertiesException ERR_UNKNOWN_CONSTRUCTOR (name)
///            NLSException ERR_DOCUMENT_HOLDS_NUL (its index in the UTF-8 form)
std::string answer(std::string_view request, const Settings& settings);

}  // namespace documents
