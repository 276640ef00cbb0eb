#include "support/kelRows.hpp"

namespace tarvo::test {
namespace {

thread_local const RowScope* innermost = nullptr;
thread_local std::string ended;

}  // namespace

RowScope::RowScope(const char* file, int line)
    : file_(file), line_(line), outer_(std::exchange(innermost, this)) {}

RowScope::~RowScope() {
  innermost = outer_;
}

void RowScope::end() noexcept {
  if (std::uncaught_exceptions() > exceptions_) ended += line();
}

std::string RowScope::line() const {
  return std::string("  in ") + file_ + ':' + std::to_string(line_) + ':' + text() + '\n';
}

std::string RowScope::living() {
  std::string lines;
  for (const RowScope* each = innermost; each != nullptr; each = each->outer_) lines += each->line();
  return lines;
}

std::string takeEndedRows() {
  return std::exchange(ended, {});
}

}  // namespace tarvo::test
