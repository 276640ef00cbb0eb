#include "kelDiagnosticsTasks.hpp"
#include "kelExtendedPropertiesTasks.hpp"

#include <benchmark/benchmark.h>

#include <log4cplus/helpers/property.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <sstream>
#include <string>

/// log4cplus: its properties, and the cost of its tracing when it is off.
namespace {

using namespace tarvo::benchmarks;

struct Properties {
  struct OfBytes {};
  log4cplus::helpers::Properties all;
};

/// log4cplus reads properties only from a stream, which copies the text.
void loadInto(Properties& properties, const std::string& file) {
  std::istringstream stream(file);
  properties.all = log4cplus::helpers::Properties(stream);
}

const std::string& valueOf(const Properties& properties, const std::string& key) {
  return properties.all.getProperty(key);
}

std::int32_t int32Of(const Properties& properties, const std::string& key) {
  int value = -1;
  properties.all.getInt(value, key);
  return value;
}

properties::Map asMap(const Properties& properties, const std::string& /*file*/) {
  properties::Map map;
  for (const std::string& key : properties.all.propertyNames())
    map.emplace(properties::widened(key), properties::widened(properties.all.getProperty(key)));
  return map;
}

BENCHMARK(properties::load<Properties>)->Name("ExtendedProperties/load/log4cplus")->Apply(properties::sizes);
BENCHMARK(properties::lookUp<Properties>)
    ->Name("ExtendedProperties/look-up/log4cplus")
    ->Apply(properties::sizes);
BENCHMARK(properties::getInt32<Properties>)
    ->Name("ExtendedProperties/getPropertyAsInt32/log4cplus")
    ->Apply(properties::sizes);

/// Traces entry and exit with the same number of tests as a member of the library.
[[gnu::noinline]] const int* step(const log4cplus::Logger& logger, const diagnostics::Node* first,
                                  const diagnostics::Node** cursor) {
  LOG4CPLUS_TRACE(logger, "entry");
  *cursor = first->next;
  LOG4CPLUS_TRACE(logger, "exit");
  return &first->message;
}

void tracedStep(benchmark::State& state) {
  log4cplus::Logger logger = log4cplus::Logger::getRoot();
  logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
  diagnostics::steps(state,
                     [&](const auto* first, const auto** cursor) { return step(logger, first, cursor); });
}

BENCHMARK(tracedStep)->Name("Diagnostics/cursor step, trace off/log4cplus, trace off");

}  // namespace
