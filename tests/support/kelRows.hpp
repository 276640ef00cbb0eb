#pragma once

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <exception>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {

/// Describes a row by its explaining member if it has one, otherwise by its value.
template <class Value>
std::string wordsOf(const Value& value) {
  if constexpr (requires { value.why; }) {
    return wordsOf(value.why);
  } else if constexpr (requires { value.what; }) {
    return wordsOf(value.what);
  } else if constexpr (requires { value.name; }) {
    return wordsOf(value.name);
  } else if constexpr (std::is_same_v<Value, icu::UnicodeString>) {
    std::string bytes;
    return testing::PrintToString(value.toUTF8String(bytes));
  } else {
    return testing::PrintToString(value);
  }
}

/// A row that this thread tests during the object's lifetime.
class RowScope {
 public:
  RowScope(const RowScope&) = delete;
  RowScope& operator=(const RowScope&) = delete;

  /// The current rows of this thread, innermost first, one per line.
  static std::string living();

 protected:
  RowScope(const char* file, int line);
  virtual ~RowScope();
  /// Records the row if an exception is ending it. The derived class, which has the text, calls this function
  /// in its destructor.
  void end() noexcept;

 private:
  std::string line() const;
  virtual std::string text() const = 0;

  const char* file_;
  int line_;
  int exceptions_ = std::uncaught_exceptions();
  const RowScope* outer_;
};

/// The rows that this thread's last exception has ended, innermost first, one per line. Forgets them.
std::string takeEndedRows();

/// A row that is named by values; string literals among them are printed unchanged. References to values are
/// formatted only after a failure, so naming a row takes only a few nanoseconds.
template <class... Names>
class NamedRow final : public RowScope {
 public:
  NamedRow(const char* file, int line, Names&&... names)
      : RowScope(file, line), names_(std::forward<Names>(names)...) {}
  ~NamedRow() override { end(); }

 private:
  template <std::size_t size>
  static std::string word(const char (&text)[size]) {
    return text;
  }
  template <class Name>
  static std::string word(const Name& name) {
    return wordsOf(name);
  }
  std::string text() const override {
    return std::apply([](const auto&... names) { return ((' ' + word(names)) + ...); }, names_);
  }

  std::tuple<Names...> names_;
};
template <class... Names>
NamedRow(const char*, int, Names&&...) -> NamedRow<Names...>;

#define KELINFRA_ROW_ON(line, ...) const ::tarvo::test::NamedRow row##line(__FILE__, line, __VA_ARGS__)
#define KELINFRA_ROW_AT(line, ...) KELINFRA_ROW_ON(line, __VA_ARGS__)
/// Names the current row until the end of the scope. A failure is printed with the current rows. An exception
/// that ends the test is printed with the rows that it has ended.
///
///     for (std::size_t length = 0; length < 100; ++length) {
///       ROW("length", length);
#define ROW(...) KELINFRA_ROW_AT(__LINE__, __VA_ARGS__)

/// The rows of a table, for a range-based loop. A failure in the loop prints the number of the current row,
/// from 1, and its description.
///
///     for (const Row& row : rowsOf(rows)) EXPECT_EQ(lengthOf(row.text), row.length);
template <class Table>
class Rows {
 public:
  using Position = decltype(std::begin(std::declval<Table&>()));

  class Iterator {
   public:
    Iterator(Rows& rows, Position position) : rows_(rows), position_(std::move(position)) {}
    decltype(auto) operator*() {
      rows_.row_.emplace(rows_.file_, rows_.line_, "row", int{++rows_.number_}, "is", *position_);
      return *position_;
    }
    Iterator& operator++() {
      rows_.row_.reset();
      ++position_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return position_ != other.position_; }

   private:
    Rows& rows_;
    Position position_;
  };

  Rows(const char* file, int line, Table&& table)
      : file_(file), line_(line), table_(std::forward<Table>(table)) {}
  Iterator begin() { return {*this, std::begin(table_)}; }
  Iterator end() { return {*this, std::end(table_)}; }

 private:
  const char* file_;
  int line_;
  Table table_;
  int number_ = 0;
  std::optional<NamedRow<const char (&)[4], int, const char (&)[3], decltype(*std::declval<Position&>())>>
      row_;
};

template <class Table>
Rows<Table> rowsOf(Table&& table, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  return {file, line, std::forward<Table>(table)};
}
template <class Value>
Rows<const std::vector<Value>> rowsOf(std::initializer_list<Value> values,
                                      const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  return {file, line, std::vector<Value>(values)};
}

}  // namespace tarvo::test
