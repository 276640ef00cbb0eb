#include "documentAnalysis.hpp"

#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelConstants.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "documentService.hpp"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace documents {

using tarvo::oss::Constants;
using tarvo::oss::Converter;
using tarvo::oss::NLSException;
using tarvo::oss::StringTokenizer;
using tarvo::util::Base64;
using tarvo::util::ExtendedProperties;
using tarvo::util::PropertiesException;

namespace {

constexpr const char* thisFile = "documentAnalysis.cpp";

/// Loads properties from an untrusted source.
void loadForeign(ExtendedProperties& properties, std::string_view text, const ReferenceLimits& limits) {
  properties.load(text.data(), text.size(), false);
  checkReferences(properties, limits);
  properties.resolveReferences();
}

/// The contents of a request.
struct Request {
  bool byLines = false;
  std::string codePage;
  unsigned int top = 0;
  std::string document;  // bytes in the code page
};

std::string decodeBase64(icu::UnicodeString text) {
  std::string bytes(Base64::decodeSize(static_cast<std::size_t>(text.length())), '\0');
  const auto* const units = reinterpret_cast<const unsigned short*>(text.getTerminatedBuffer());
  bytes.resize(Base64::decode(bytes.data(), bytes.size(), units, static_cast<std::size_t>(text.length())));
  return bytes;
}

Request readRequest(std::string_view text, const Settings& settings) {
  ExtendedProperties properties;
  loadForeign(properties, text, settings.references);
  const icu::UnicodeString& constructor = properties.requireProperty(Constants::DOCUMENT_CONSTRUCTOR_NAME);
  if (constructor != "words" && constructor != "lines") {
    fail<PropertiesException>("ERR_UNKNOWN_CONSTRUCTOR", thisFile, __LINE__, constructor);
  }

  tarvo::oss::SizeableBuffer<char, 512> bytes;
  const std::size_t length = Converter::convertToBytes(
      properties.requireProperty(Constants::DOCUMENT_CONSTRUCTOR_CONFIG), "ISO8859_1", bytes);
  ExtendedProperties config;
  loadForeign(config, {bytes.data(), length}, settings.references);

  Request request;
  request.byLines = constructor == "lines";
  request.codePage = utf8(config.getProperty("codepage", settings.codePage.c_str()));
  request.top = config.getPropertyAsUInt32("top", settings.top);
  request.document = decodeBase64(properties.requireProperty(Constants::DOCUMENT_CONSTRUCTOR_DATA));
  return request;
}

/// A UTF-8 text and the number of its characters.
struct Text {
  std::string bytes;
  int characters = 0;
};

Text toUtf8(const Request& request) {
  const auto length = static_cast<int>(request.document.size());
  const char* const codePage = request.codePage.c_str();
  const char* const document = request.document.data();
  // Sizes count the terminator.
  const int size = Converter::convert(nullptr, 0, codePage, document, length, "UTF-8");
  Text text;
  text.bytes.resize(static_cast<std::size_t>(size));
  Converter::convert(text.bytes.data(), size, codePage, document, length, "UTF-8");
  text.bytes.pop_back();
  // The iterator checks the whole text when it takes it, and takes it up to a NUL.
  const tarvo::oss::UTF8Iterator characters(text.bytes.c_str());
  if (static_cast<std::size_t>(characters.length()) < text.bytes.size()) {
    fail<NLSException>("ERR_DOCUMENT_HOLDS_NUL", thisFile, __LINE__, characters.length());
  }
  text.characters = characters.numChars();
  return text;
}

using Counts = std::map<std::string, unsigned int>;
using Term = std::pair<std::string, unsigned int>;

/// Counts the terms of the text, and returns the number of all tokens.
unsigned int count(const Text& text, const std::string& delimiters, Counts& counts) {
  unsigned int tokens = 0;
  StringTokenizer tokenizer(text.bytes.c_str(), "UTF-8", delimiters.c_str());
  while (tokenizer.hasMoreTokens()) {
    const std::string token = tokenizer.getNextToken();
    // A text that begins with a delimiter has an empty token before it.
    if (token.empty()) continue;
    ++counts[token];
    ++tokens;
  }
  return tokens;
}

/// Returns the most frequent terms. Terms with the same count are in the order of their bytes.
std::vector<Term> topOf(const Counts& counts, std::size_t most) {
  std::vector<Term> terms(counts.begin(), counts.end());
  const std::size_t kept = std::min(most, terms.size());
  std::partial_sort(terms.begin(), terms.begin() + static_cast<std::ptrdiff_t>(kept), terms.end(),
                    [](const Term& a, const Term& b) {
                      return a.second != b.second ? a.second > b.second : a.first < b.first;
                    });
  terms.resize(kept);
  return terms;
}

/// Each term and its count are a line each, whose keys grow with the number of terms.
void checkProduced(const std::vector<Term>& terms, unsigned int limit) {
  constexpr std::size_t keysOfATerm = 32;
  std::size_t produced = 0;
  for (const auto& [term, occurrences] : terms) produced += term.size() + keysOfATerm;
  if (produced > limit) fail<PropertiesException>("ERR_TOO_MUCH_PRODUCED", thisFile, __LINE__, limit);
}

}  // namespace

Settings readSettings(std::string_view text) {
  ExtendedProperties properties;
  properties.load(text.data(), text.size());
  Settings settings;
  settings.port = properties.requirePropertyAsUInt32("server.port");
  settings.backlog = properties.requirePropertyAsUInt32("server.backlog");
  settings.clientLimit = properties.requirePropertyAsUInt32("server.clients");
  settings.clientTimeout = properties.requirePropertyAsUInt32("time.client");
  settings.acceptTimeout = properties.requirePropertyAsUInt32("time.accept");
  settings.stopTimeout = properties.requirePropertyAsUInt32("time.stop");
  settings.requestLimit = properties.requirePropertyAsUInt32("request.limit");
  settings.references.percents = properties.requirePropertyAsUInt32("request.percents");
  settings.references.nesting = properties.requirePropertyAsUInt32("request.nesting");
  settings.references.produced = properties.requirePropertyAsUInt32("request.produced");
  settings.top = properties.requirePropertyAsUInt32("text.top");
  settings.codePage = utf8(properties.requireProperty("text.codepage"));
  settings.delimiters = utf8(properties.requireProperty("text.delimiters"));
  return settings;
}

std::string answer(std::string_view requestText, const Settings& settings) {
  const Request request = readRequest(requestText, settings);
  const Text text = toUtf8(request);
  Counts counts;
  const unsigned int tokens = count(text, request.byLines ? "\r\n" : settings.delimiters, counts);
  const std::vector<Term> top = topOf(counts, request.top);
  checkProduced(top, settings.references.produced);

  ExtendedProperties answer;
  answer.putProperty("build", tarvo::oss::BuildVersion().getBuildVersion());
  answer.putPropertyAsInt32("characters", text.characters);
  answer.putPropertyAsUint32("tokens", tokens);
  answer.putPropertyAsUint64("terms", counts.size());
  int number = 0;
  for (const auto& [term, occurrences] : top) {
    const std::string suffix = "." + std::to_string(++number);
    answer.putProperty(("term" + suffix).c_str(), toWire(term));
    answer.putPropertyAsUint32(("count" + suffix).c_str(), occurrences);
  }
  return textOf(answer);
}

}  // namespace documents
