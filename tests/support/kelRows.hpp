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

/// Describes a row by the member that explains it, or by its value.
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

/// A row that is tested in this thread while the object lives.
class RowScope {
 public:
  RowScope(const RowScope&) = delete;
  RowScope& operator=(const RowScope&) = delete;

  /// The rows that live in this thread, the innermost first, one a line.
  static std::string living();

 protected:
  RowScope(const char* file, int line);
  virtual ~RowScope();
  /// Notes the row if an exception ends it. Called by the destructor of the class that has the text.
  void end() noexcept;

 private:
  std::string line() const;
  virtual std::string text() const = 0;

  const char* file_;
  int line_;
  int exceptions_ = std::uncaught_exceptions();
  const RowScope* outer_;
};

/// The rows that the last exception of this thread has ended, the innermost first, one a line. Forgets them.
std::string takeEndedRows();

/// A row that is named by values. A string literal among them is printed as it is. A name that outlives
/// the row is read only after a failure, so a row costs a loop only a few nanoseconds.
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
/// Names the row until the end of the scope. A failure is printed with the rows that live, and an exception
/// that ends the test with the rows that it has ended.
///
///     for (std::size_t length = 0; length < 100; ++length) {
///       ROW("length", length);
#define ROW(...) KELINFRA_ROW_AT(__LINE__, __VA_ARGS__)

/// The rows of a table. Each is named by its number, from 1, and its description while the loop is at it.
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
