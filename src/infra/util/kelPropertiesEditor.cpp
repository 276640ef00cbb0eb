#include "infra/util/kelPropertiesEditor.hpp"

#include "text/kelTextUnits.hpp"
#include "util/kelPropertiesText.hpp"
#include "util/kelRunningTotals.hpp"
#include "util/kelWrittenProperty.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace tarvo::util {

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

/// A text that neither continues a line nor begins a line end. The editor appends this text to a line and
/// reads the result to find out whether the line had ended.
constexpr char nextLine = 'x';

bool canBeWritten(const icu::UnicodeString& text) {
  const std::u16string_view units = text::unitsOf(text);
  return !text.isBogus() && std::all_of(units.begin(), units.end(), isReadFromEscape);
}

std::size_t countLineEnds(std::string_view bytes) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const bool isFirstOfTwo = bytes.substr(i, 2) == "\r\n";
    if ((bytes[i] == '\r' && !isFirstOfTwo) || bytes[i] == '\n') ++count;
  }
  return count;
}

/// Returns the property that the reader reads from the bytes of one line.
struct Reading {
  std::optional<std::u16string> key;  ///< nothing if the line has no property
  std::u16string value;
  PropertyBytes bytes;
  bool isEnded = false;  ///< a line after it would be another line
  bool isWhole = false;  ///< the bytes are one line

  bool hasSameProperty(const Reading& other) const { return key == other.key && value == other.value; }
};

Reading readingOf(std::string_view line) {
  const auto read = [](std::string_view bytes, Reading& reading) {
    PropertiesReader reader(bytes.data(), bytes.size(), 0);
    reader.readLine();
    if (reader.hasProperty()) {
      reading.key = reader.key();
      reading.value = reader.value();
    }
    reading.bytes = reader.bytes();
    return reader.position();
  };
  Reading reading;
  reading.isWhole = read(line, reading) == line.size();
  Reading withNext;
  reading.isEnded = read(std::string(line) + nextLine, withNext) == line.size();
  return reading;
}

}  // namespace

/// The text, cut into its lines. The meaning of a line does not depend on the other lines, so a line can be
/// read separately. Every line except the last has a line end.
class PropertiesEditor::Lines {
 public:
  Lines(const char* data, std::size_t length) : source_(data == nullptr ? "" : std::string(data, length)) {
    std::size_t position = 0;
    PropertiesReader reader(source_.data(), source_.size(), 0);
    while (reader.readLine()) {
      append(std::string_view(source_).substr(position, reader.position() - position), nullptr);
      if (reader.hasProperty()) addToKey(keyOf(reader.key()), lines_.size() - 1);
      position = reader.position();
    }
  }

  bool find(std::u16string_view key, Place& place) const;
  std::string bytes() const;
  const std::vector<Edit>& edits() const { return edits_; }
  void forgetEdits() noexcept { edits_.clear(); }
  void set(const icu::UnicodeString& key, const icu::UnicodeString& value);
  std::size_t remove(std::u16string_view key);

 private:
  struct Line {
    std::string_view bytes;  ///< in the source or in `own`
    std::unique_ptr<std::string> own;
    std::size_t previous = none;    ///< the line before it that was not removed
    std::size_t next = none;        ///< the line after it that was not removed
    std::size_t overridden = none;  ///< the last line before it with the same key
  };
  struct Key {
    std::size_t last = none;
    std::size_t count = 0;
  };
  using Keys = std::map<std::u16string, Key, text::Less>;

  /// A change of one line: the bytes from `from` to `to` are replaced.
  struct Change {
    std::size_t from;
    std::size_t to;
    std::string text;
  };

  using JoinedLines = std::vector<std::pair<std::size_t, std::unique_ptr<std::string>>>;

  Keys::iterator keyOf(std::u16string_view key) {
    const auto place = keys_.lower_bound(key);
    if (place != keys_.end() && place->first == key) return place;
    return keys_.try_emplace(place, std::u16string(key));
  }
  void addToKey(Keys::iterator key, std::size_t line) noexcept {
    lines_[line].overridden = std::exchange(key->second.last, line);
    ++key->second.count;
  }
  void append(std::string_view bytes, std::unique_ptr<std::string> own);
  static std::string changed(std::string_view line, const Change& change);
  static std::optional<Change> firstThatReads(std::string_view line, const Reading& wanted, bool mustEnd,
                                              const std::vector<Change>& changes);
  std::string_view lineEnd() const;
  static Change valueChange(std::string_view line, const Reading& before, const icu::UnicodeString& key,
                            const icu::UnicodeString& value, std::string_view lineEnd);
  Change endOfLast() const;
  void replace(std::size_t index, std::unique_ptr<std::string> bytes) noexcept;
  void setExisting(std::size_t index, const icu::UnicodeString& key, const icu::UnicodeString& value);
  void add(const icu::UnicodeString& key, const icu::UnicodeString& value);
  void unlink(std::size_t index) noexcept;
  JoinedLines lineEndsJoinedWithout(const std::vector<std::size_t>& removed) const;

  std::string source_;
  std::vector<Line> lines_;
  RunningTotals sizes_;
  RunningTotals lineEnds_;
  std::size_t first_ = none;
  std::size_t last_ = none;
  Keys keys_;
  std::vector<Edit> edits_;
};

// --- ask

bool PropertiesEditor::Lines::find(std::u16string_view key, Place& place) const {
  const auto found = keys_.find(key);
  if (found == keys_.end() || found->second.last == none) return false;
  std::vector<std::size_t> overridden(found->second.count - 1);
  std::size_t at = found->second.last;
  const auto lineOfKey = [&](const Line& line, const PropertyBytes& bytes) {
    return 1 + lineEnds_.before(at) + countLineEnds(line.bytes.substr(0, bytes.key));
  };
  const Line& line = lines_[at];
  const PropertyBytes bytes = readingOf(line.bytes).bytes;
  const std::size_t offset = sizes_.before(at);
  const std::size_t lineEnd = line.bytes.substr(0, bytes.key).find_last_of("\r\n");
  const std::size_t column = bytes.key - (lineEnd == std::string_view::npos ? 0 : lineEnd + 1) + 1;
  const std::size_t lineNumber = lineOfKey(line, bytes);
  for (std::size_t i = overridden.size(); i > 0; --i) {
    at = lines_[at].overridden;
    overridden[i - 1] = lineOfKey(lines_[at], readingOf(lines_[at].bytes).bytes);
  }
  place = {offset, line.bytes.size(),    offset + bytes.value, bytes.valueEnd - bytes.value, lineNumber,
           column, std::move(overridden)};
  return true;
}

std::string PropertiesEditor::Lines::bytes() const {
  std::string all;
  all.reserve(sizes_.before(lines_.size()));
  for (std::size_t i = first_; i != none; i = lines_[i].next) all += lines_[i].bytes;
  return all;
}

// --- change one line

std::string PropertiesEditor::Lines::changed(std::string_view line, const Change& change) {
  std::string bytes(line.substr(0, change.from));
  bytes += change.text;
  bytes += line.substr(change.to);
  return bytes;
}

/// Returns the first of the possible changes after which the line has the wanted property, and has a line end
/// if it must have one.
std::optional<PropertiesEditor::Lines::Change> PropertiesEditor::Lines::firstThatReads(
    std::string_view line, const Reading& wanted, bool mustEnd, const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    const Reading reading = readingOf(changed(line, change));
    if (reading.hasSameProperty(wanted) && reading.isWhole && (reading.isEnded || !mustEnd)) return change;
  }
  return std::nullopt;
}

/// Returns the line end for a line that is added at the end of the text.
std::string_view PropertiesEditor::Lines::lineEnd() const {
  std::size_t ended = last_;
  if (ended != none && !readingOf(lines_[ended].bytes).isEnded) ended = lines_[ended].previous;
  if (ended == none) return "\n";
  const std::string_view bytes = lines_[ended].bytes;
  return bytes.substr(bytes.ends_with("\r\n") ? bytes.size() - 2 : bytes.size() - 1);
}

/// Returns the change of a line that gives its property another value. A line without a line end must not end
/// in an escape \uXXXX; in this case the change adds a line end.
PropertiesEditor::Lines::Change PropertiesEditor::Lines::valueChange(std::string_view line,
                                                                     const Reading& before,
                                                                     const icu::UnicodeString& key,
                                                                     const icu::UnicodeString& value,
                                                                     std::string_view lineEnd) {
  Reading wanted;
  wanted.key = text::unitsOf(key);
  wanted.value = text::unitsOf(value);
  const PropertyBytes& bytes = before.bytes;
  const std::string written = writtenValue(value);
  const std::string splice = (bytes.value == bytes.keyEnd ? "=" : "") + written;
  const std::string whole = writtenKey(key) + '=' + written;
  const std::string own(before.isEnded ? line.substr(bytes.valueEnd) : "");
  const std::string end(before.isEnded ? own : lineEnd);
  return *firstThatReads(line, wanted, before.isEnded,
                         {{bytes.value, bytes.valueEnd, splice},
                          {bytes.value, line.size(), splice + end},
                          {0, line.size(), whole + own},
                          {0, line.size(), whole + end}});
}

/// Returns the change that adds a line end to the last line.
PropertiesEditor::Lines::Change PropertiesEditor::Lines::endOfLast() const {
  if (last_ == none) return {0, 0, ""};
  const std::string_view line = lines_[last_].bytes;
  const Reading reading = readingOf(line);
  std::vector<Change> changes = {{line.size(), line.size(), ""},
                                 {line.size(), line.size(), std::string(lineEnd())},
                                 {line.size(), line.size(), "\r"}};
  if (reading.key) {
    changes.push_back({0, line.size(),
                       writtenKey(text::textOf(*reading.key)) + '=' +
                           writtenValue(text::textOf(reading.value)) + std::string(lineEnd())});
  }
  return *firstThatReads(line, reading, true, changes);
}

void PropertiesEditor::Lines::replace(std::size_t index, std::unique_ptr<std::string> bytes) noexcept {
  Line& line = lines_[index];
  sizes_.add(index, bytes->size() - line.bytes.size());
  lineEnds_.add(index, countLineEnds(*bytes) - countLineEnds(line.bytes));
  line.bytes = *bytes;
  line.own = std::move(bytes);
}

// --- set

void PropertiesEditor::Lines::set(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  const auto found = keys_.find(text::unitsOf(key));
  if (found == keys_.end() || found->second.last == none) {
    add(key, value);
  } else {
    setExisting(found->second.last, key, value);
  }
}

void PropertiesEditor::Lines::setExisting(std::size_t index, const icu::UnicodeString& key,
                                          const icu::UnicodeString& value) {
  const std::string_view line = lines_[index].bytes;
  const Reading before = readingOf(line);
  if (before.value == text::unitsOf(value)) {
    edits_.clear();
    return;
  }
  const Change change = valueChange(line, before, key, value, lineEnd());
  auto bytes = std::make_unique<std::string>(changed(line, change));
  std::vector<Edit> edits = {
      {sizes_.before(index) + change.from, change.to - change.from, change.text.size()}};
  replace(index, std::move(bytes));
  edits_.swap(edits);
}

/// Adds a line at the end of the text. The steps that can fail come before the first change.
void PropertiesEditor::Lines::add(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  const Change end = endOfLast();
  const std::size_t all = sizes_.before(lines_.size());
  const std::size_t kept = last_ == none ? 0 : all - (lines_[last_].bytes.size() - end.from);
  auto line = std::make_unique<std::string>(writtenKey(key) + '=' + writtenValue(value));
  *line += lineEnd();
  auto ended = last_ == none ? nullptr : std::make_unique<std::string>(changed(lines_[last_].bytes, end));
  std::vector<Edit> edits = {{kept, all - kept, end.text.size() + line->size()}};
  const std::size_t lastBefore = last_;
  const auto named = keyOf(text::unitsOf(key));
  const std::string_view bytes = *line;
  append(bytes, std::move(line));
  addToKey(named, lines_.size() - 1);
  if (ended) replace(lastBefore, std::move(ended));
  edits_.swap(edits);
}

/// Adds a line after the last line. If the function fails, it changes nothing.
void PropertiesEditor::Lines::append(std::string_view bytes, std::unique_ptr<std::string> own) {
  if (lines_.size() == lines_.capacity()) lines_.reserve(2 * lines_.size() + 16);
  sizes_.reserveOne();
  lineEnds_.reserveOne();
  sizes_.append(bytes.size());
  lineEnds_.append(countLineEnds(bytes));
  const std::size_t index = lines_.size();
  lines_.push_back({bytes, std::move(own), last_, none, none});
  (last_ == none ? first_ : lines_[last_].next) = index;
  last_ = index;
}

// --- remove

std::size_t PropertiesEditor::Lines::remove(std::u16string_view key) {
  const auto found = keys_.find(key);
  std::vector<std::size_t> removed(found == keys_.end() ? 0 : found->second.count);
  std::vector<Edit> edits(removed.size());
  std::size_t index = removed.empty() ? none : found->second.last;
  for (std::size_t i = removed.size(); i > 0; index = lines_[index].overridden) {
    removed[--i] = index;
    edits[i] = {sizes_.before(index), lines_[index].bytes.size(), 0};
  }
  JoinedLines joined = lineEndsJoinedWithout(removed);
  for (const std::size_t line : removed) unlink(line);
  for (auto& [line, bytes] : joined) {
    unlink(lines_[line].next);
    replace(line, std::move(bytes));
  }
  if (!removed.empty()) keys_.erase(found);
  edits_.swap(edits);
  return removed.size();
}

/// Suppose that a line ends in CR, and that after the removal the next line is an empty line that consists of
/// an LF. Then CR and LF would become one line end. Returns such lines, with new bytes that prevent this.
PropertiesEditor::Lines::JoinedLines PropertiesEditor::Lines::lineEndsJoinedWithout(
    const std::vector<std::size_t>& removed) const {
  JoinedLines joined;
  for (std::size_t i = 0; i < removed.size(); ++i) {
    const std::size_t before = lines_[removed[i]].previous;
    while (i + 1 < removed.size() && lines_[removed[i]].next == removed[i + 1]) ++i;
    const std::size_t after = lines_[removed[i]].next;
    if (before == none || after == none) continue;
    const std::string_view bytes = lines_[before].bytes;
    if (!bytes.ends_with('\r') || lines_[after].bytes != "\n") continue;
    joined.emplace_back(before, std::make_unique<std::string>(std::string(bytes) + '\n'));
  }
  return joined;
}

void PropertiesEditor::Lines::unlink(std::size_t index) noexcept {
  Line& line = lines_[index];
  sizes_.add(index, 0 - line.bytes.size());
  lineEnds_.add(index, 0 - countLineEnds(line.bytes));
  (line.previous == none ? first_ : lines_[line.previous].next) = line.next;
  (line.next == none ? last_ : lines_[line.next].previous) = line.previous;
  line.bytes = {};
  line.own.reset();
}

// --- the editor

PropertiesEditor::PropertiesEditor(const char* data, std::size_t length)
    : lines_(std::make_unique<Lines>(data, length)) {}

PropertiesEditor::~PropertiesEditor() = default;

bool PropertiesEditor::find(const icu::UnicodeString& key, Place& place) const {
  return lines_->find(text::unitsOf(key), place);
}

std::string PropertiesEditor::bytes() const {
  return lines_->bytes();
}

const std::vector<PropertiesEditor::Edit>& PropertiesEditor::edits() const {
  return lines_->edits();
}

bool PropertiesEditor::set(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  const bool isHeld = canBeWritten(key) && canBeWritten(value);
  if (isHeld) {
    lines_->set(key, value);
  } else {
    lines_->forgetEdits();
  }
  return isHeld;
}

std::size_t PropertiesEditor::remove(const icu::UnicodeString& key) {
  return lines_->remove(text::unitsOf(key));
}

}  // namespace tarvo::util
