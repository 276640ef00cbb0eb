#pragma once

#include "infra/util/kelExtendedProperties.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace documents {

/// The server's settings.
struct Settings {
  unsigned int port = 0;
  unsigned int backlog = 0;
  unsigned int clientTimeout = 0;  ///< milliseconds that one wait on a client may take; 0: no limit
  unsigned int acceptTimeout =
      0;                          ///< milliseconds without a new client after which the server ends; 0: never
  std::size_t requestLimit = 0;   ///< bytes of a request's frame
  unsigned int percentLimit = 0;  ///< percent signs, two for each reference, in a client's properties
  unsigned int top = 0;           ///< the most frequent terms that an answer tells
  std::string codePage;           ///< of documents whose request names none
  std::string delimiters;         ///< between words, in UTF-8
};

/// Reads them from the text of a properties file.
///   raises   PropertiesException: a property is missing, of the wrong type, or refers to what is not there
Settings readSettings(std::string_view text);

/// Answers a request's properties text with the answer's: decodes the document, converts it to UTF-8, splits
/// it and counts its terms.
///   raises   the library's error for what is wrong with the request, and of these programs' own
///            PropertiesException ERR_TOO_MANY_REFERENCES (percent signs, limit)
///            PropertiesException ERR_UNKNOWN_CONSTRUCTOR (name)
///            NLSException ERR_DOCUMENT_HOLDS_NUL (its index in the UTF-8 form)
std::string answer(std::string_view request, const Settings& settings);

}  // namespace documents
