#pragma once

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/ubrk.h>
#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// The part that the three services share: ICU's word boundaries, and the texts of the answers.
namespace tarvo::benchmarks::service {

/// A request above this size ends the connection.
constexpr std::size_t requestLimit = 1 << 20;
/// The answer to a request that lacks a key, names an unknown code page, or has invalid Base64.
constexpr const char* refusal = "status=refused\n";
constexpr const char* codePageKey = "document.codepage";
constexpr const char* dataKey = "document.data";

struct Counts {
  std::int32_t characters = 0;
  std::int32_t words = 0;
};

/// Counts words. Each call borrows a break iterator and returns it, so an idle connection does not use one.
class WordCounter {
 public:
  Counts count(const icu::UnicodeString& text) {
    std::unique_ptr<icu::BreakIterator> boundaries = borrow();
    boundaries->setText(text);
    Counts counts{text.countChar32(), 0};
    boundaries->first();
    while (boundaries->next() != icu::BreakIterator::DONE) {
      if (boundaries->getRuleStatus() >= UBRK_WORD_NONE_LIMIT) ++counts.words;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    free_.push_back(std::move(boundaries));
    return counts;
  }

 private:
  std::unique_ptr<icu::BreakIterator> borrow() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (free_.empty()) {
      UErrorCode status = U_ZERO_ERROR;
      free_.emplace_back(icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
      if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
    }
    std::unique_ptr<icu::BreakIterator> last = std::move(free_.back());
    free_.pop_back();
    return last;
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<icu::BreakIterator>> free_;
};

inline WordCounter& wordCounter() {
  static WordCounter counter;
  return counter;
}

inline std::string answerOf(const Counts& counts) {
  return "characters=" + std::to_string(counts.characters) +
         "\nstatus=ok\nwords=" + std::to_string(counts.words) + "\n";
}

/// Runs a service and returns the status of its program. `serve` prints its port, and ends only
/// by an exception.
inline int guarded(void (*serve)()) {
  try {
    serve();
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
  }
  return 1;
}

}  // namespace tarvo::benchmarks::service
