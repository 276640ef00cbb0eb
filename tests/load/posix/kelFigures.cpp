#include "kelFigures.hpp"

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tarvo::load {
namespace {

constexpr long heapPlay = 64L * 1024;
constexpr long residentPlay = 4L * 1024 * 1024;

long entriesOf(const char* directory) {
  const auto all = std::filesystem::directory_iterator(directory);
  return static_cast<long>(std::distance(begin(all), end(all)));
}

/// The system drops a thread from its list a moment after the thread could be joined.
long threadsOnceSettled(long expected) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  for (;;) {
    const long count = entriesOf("/proc/self/task");
    if (count == expected || std::chrono::steady_clock::now() > patience) return count;
    std::this_thread::yield();
  }
}

long residentBytes() {
  std::ifstream statm("/proc/self/statm");
  long total = 0;
  long resident = 0;
  if (!(statm >> total >> resident)) throw std::runtime_error("cannot read /proc/self/statm");
  return resident * ::sysconf(_SC_PAGESIZE);
}

void addGrowth(std::string& text, const char* what, long first, long last, long play) {
  if (last <= first + play) return;
  text += (text.empty() ? "" : ", ") + std::string(what) + " " + std::to_string(first) + " -> " +
          std::to_string(last);
}

}  // namespace

std::string Figures::text() const {
  return "descriptors " + std::to_string(descriptors) + " threads " + std::to_string(threads) + " heap " +
         std::to_string(heap) + " resident " + std::to_string(resident);
}

Figures ownFigures(long threads) {
  Figures figures;
  figures.threads = threadsOnceSettled(threads);
  figures.descriptors = entriesOf("/proc/self/fd") - 1;  // without the one that reads them
  ::malloc_trim(0);  // otherwise freed memory stays resident, depending on the threads' order
  const struct mallinfo2 heap = ::mallinfo2();
  figures.heap = static_cast<long>(heap.uordblks + heap.hblkhd);
  figures.resident = residentBytes();
  return figures;
}

Figures parseFigures(const std::string& text) {
  std::istringstream in(text);
  Figures figures;
  std::string word;
  in >> word >> figures.descriptors >> word >> figures.threads >> word >> figures.heap >> word >>
      figures.resident;
  if (!in || figures.text() != text) throw std::runtime_error("no figures: " + text);
  return figures;
}

std::string growth(const Figures& first, const Figures& last) {
  std::string text;
  addGrowth(text, "descriptors", first.descriptors, last.descriptors, 0);
  addGrowth(text, "threads", first.threads, last.threads, 0);
  addGrowth(text, "heap", first.heap, last.heap, heapPlay);
  addGrowth(text, "resident", first.resident, last.resident, residentPlay);
  return text;
}

}  // namespace tarvo::load
