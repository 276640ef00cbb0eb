#include "support/kelTraceRecorder.hpp"

#include "infra/trace/kelProbeNames.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace tarvo::test {
namespace {

TraceRecorder* active = nullptr;

std::string render(const char* hook, std::uint32_t probe, const std::string& further = "") {
  std::ostringstream number;
  number << ' ' << std::hex << std::uppercase << (probe >> 16 == 0x1CD8 ? probe & 0xFFFF : probe);
  return hook + number.str() + further;
}

/// Compares an entry with the public table of probes.
void checkEntry(std::uint32_t probe) {
  const trace::ProbeInfo* const info = trace::findProbe(probe);
  ASSERT_NE(info, nullptr) << "the table of probes lacks " << probe;
  EXPECT_NE(info->reports, trace::ProbeReports::EXIT_ONLY) << info->name << " has reported an entry";
}

/// Compares an exit with the public table of probes.
void checkExit(std::uint32_t probe) {
  EXPECT_NE(trace::findProbe(probe), nullptr) << "the table of probes lacks " << probe;
}

std::string words(int a, int b, int c) {
  return " " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c);
}

}  // namespace

struct TraceHooks {
  static void diagDispatchEntry(std::uint32_t probe) {
    checkEntry(probe);
    active->note(render("diagDispatchEntry", probe));
  }
  static void diagDispatchExit(std::uint32_t probe) {
    checkExit(probe);
    active->note(render("diagDispatchExit", probe));
  }
  static void traceEntry(std::uint32_t probe) {
    checkEntry(probe);
    active->note(render("traceEntry", probe));
  }
  static void traceExit(std::uint32_t probe, int code) {
    checkExit(probe);
    active->note(render("traceExit", probe, " " + std::to_string(code)));
  }
  static void traceFlightRecord(std::uint32_t probe, int a, int b, int c) {
    checkExit(probe);
    active->note(render("traceFlightRecord", probe, words(a, b, c)));
  }
};

TraceRecorder::TraceRecorder(std::uint32_t flags) {
  flags_[trace::componentIndex] = flags;
  active = this;
  trace::Facility facility;
  facility.componentTraceFlags = flags_;
  facility.diagDispatchEntry = &TraceHooks::diagDispatchEntry;
  facility.diagDispatchExit = &TraceHooks::diagDispatchExit;
  facility.traceEntry = &TraceHooks::traceEntry;
  facility.traceExit = &TraceHooks::traceExit;
  facility.traceFlightRecord = &TraceHooks::traceFlightRecord;
  trace::install(facility);
}

TraceRecorder::~TraceRecorder() {
  trace::uninstall();
  active = nullptr;
}

std::vector<std::string> TraceRecorder::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

std::vector<std::string> TraceRecorder::take() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(calls_, {});
}

void TraceRecorder::setFlags(std::uint32_t flags) {
  __atomic_store_n(&flags_[trace::componentIndex], flags, __ATOMIC_RELAXED);
}

void TraceRecorder::switchFlagsAt(std::string call, std::uint32_t flags) {
  switch_ = {std::move(call), flags};
}

void TraceRecorder::note(std::string call) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!switch_.first.empty() && call == switch_.first) setFlags(switch_.second);
  calls_.push_back(std::move(call));
}

}  // namespace tarvo::test
