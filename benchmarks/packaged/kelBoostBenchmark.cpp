#include "kelConverterTasks.hpp"
#include "kelDiagnosticsTasks.hpp"
#include "kelExtendedPropertiesTasks.hpp"
#include "kelStringTokenizerTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <boost/exception/all.hpp>
#include <boost/interprocess/streams/bufferstream.hpp>
#include <boost/locale/encoding.hpp>
#include <boost/property_tree/ini_parser.hpp>
#include <boost/tokenizer.hpp>
#include <exception>
#include <string>
#include <vector>

/// Boost compared with several classes.
namespace {

using namespace tarvo::benchmarks;

// --- diagnostics: an exception that carries the same facts, with a separate type for each

using Code = boost::error_info<struct CodeTag, int>;
using Host = boost::error_info<struct HostTag, icu::UnicodeString>;
using Port = boost::error_info<struct PortTag, unsigned int>;

struct SocketError : virtual std::exception, virtual boost::exception {
  const char* what() const noexcept override { return diagnostics::identifier; }
};

[[noreturn]] void throwBoost(unsigned int port, int code) {
  // Boost's documentation throws errors in this way.
  // NOLINTBEGIN(cert-err09-cpp,cert-err60-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
  throw SocketError() << boost::throw_file("kelSocket.cpp") << boost::throw_line(120) << Code(code)
                      << Host(diagnostics::host) << Port(port);
  // NOLINTEND(cert-err09-cpp,cert-err60-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
}

std::string lineOf(const SocketError& error) {
  std::string host;
  boost::get_error_info<Host>(error)->toUTF8String(host);
  return std::string(error.what()) + ": [] - [" + std::to_string(*boost::get_error_info<Code>(error)) +
         "] [" + host + "] [" + std::to_string(*boost::get_error_info<Port>(error)) + "]";
}

void throwAndCatch(benchmark::State& state) {
  diagnostics::throwsAndCatches<SocketError>(state, &throwBoost, &lineOf);
}

BENCHMARK(throwAndCatch)->Name("Diagnostics/throw and catch, three arguments/boost::exception");

// --- StringTokenizer

template <class Char>
auto tokensOf(const std::basic_string<Char>& text, const Char* delimiters) {
  using String = std::basic_string<Char>;
  using Separator = boost::char_separator<Char>;
  const boost::tokenizer<Separator, typename String::const_iterator, String> tokens(text,
                                                                                    Separator(delimiters));
  return std::vector<String>(tokens.begin(), tokens.end());
}

const std::string& itself(const std::string& token) {
  return token;
}

void splitBytes(benchmark::State& state) {
  tokenizer::splits(
      state, [] { return tokensOf(tokenizer::bytes(), tokenizer::narrowDelimiters); }, &itself);
}

void splitBlanks(benchmark::State& state) {
  tokenizer::splits(
      state, [] { return tokensOf(tokenizer::blankSeparated(), " "); }, &itself);
}

void splitUnits(benchmark::State& state) {
  const std::u16string text(tokenizer::units().getBuffer(),
                            static_cast<std::size_t>(tokenizer::units().length()));
  tokenizer::splits(
      state, [&] { return tokensOf(text, u" \r\n\t"); },
      [](const std::u16string& token) { return std::string(token.begin(), token.end()); });
}

BENCHMARK(splitBytes)->Name("StringTokenizer/construct/boost::tokenizer of bytes");
BENCHMARK(splitBlanks)->Name("StringTokenizer/construct, one delimiter/boost::tokenizer of bytes");
BENCHMARK(splitUnits)->Name("StringTokenizer/construct and fetch every token/boost::tokenizer");

// --- ExtendedProperties: keys without sections, as in a file of settings

struct Tree {
  boost::property_tree::ptree all;
};

void loadInto(Tree& properties, const std::string& file) {
  boost::interprocess::ibufferstream stream(file.data(), file.size());
  boost::property_tree::read_ini(stream, properties.all);
}

properties::Map asMap(const Tree& properties, const std::string& /*file*/) {
  properties::Map map;
  for (const auto& [key, value] : properties.all)
    map.emplace(properties::widened(key), properties::widened(value.data()));
  return map;
}

BENCHMARK(properties::load<Tree>)
    ->Name("ExtendedProperties/load/boost::property_tree")
    ->Apply(properties::sizes);

// --- Converter

const bool registered = [] {
  for (const converter::BetweenPages& task : converter::casesBetweenPages()) {
    converter::compete(
        task.task, "boost::locale",
        [data = task.data, from = task.from, to = task.to](auto&) -> std::string_view {
          static std::string kept;
          kept = boost::locale::conv::between(data, to, from);
          return kept;
        },
        task.own);
  }
  return true;
}();

}  // namespace
