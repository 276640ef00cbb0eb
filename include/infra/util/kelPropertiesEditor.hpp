#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tarvo::util {

/// Changes single properties of a properties text and keeps all other bytes of it: comments, order, blanks,
/// line ends.
///
///     const std::string text = "# ports\nport : 80\nhost=db1\n";
///     PropertiesEditor editor(text.data(), text.size());
///     editor.set("port", "4711");
///     editor.set("user", "me");
///     editor.bytes() == "# ports\nport : 4711\nhost=db1\nuser=me\n";     // -> true
///
/// Every text that `ExtendedProperties::load` reads can be edited, which is any sequence of bytes. Keys and
/// values are those that `load` reads without resolving references. A line in this class is a line of the
/// text format: it includes its continuations and its line end.
///
/// After a change, `load` reads the new value, and all other properties as before. All bytes outside the
/// spans that `edits` returns are unchanged.
///
/// Threads: one thread at a time, or any number that only read.
///
/// Errors: std::bad_alloc if there is no memory; then the text is unchanged.
///
/// Cost: the constructor reads the text once; the editor takes about 64 bytes for each line in addition to
/// the text, and about 100 bytes and the key for each key. A change takes time proportional to the lines of
/// its key, `bytes` to the text. It does not matter how many other lines there are.
class KELINFRA_API PropertiesEditor {
 public:
  /// Where a property is. Positions and lengths are in bytes, positions from 0. Line and column count from 1.
  /// LF, CR and CR LF each end one line here; a line that is continued counts once for each line end.
  struct Place {
    std::size_t offset;       ///< of the line that counts, the last one with the key
    std::size_t length;       ///< of this line, with its continuations and its line end
    std::size_t valueOffset;  ///< of the value as it is written, with its escapes and continuations
    std::size_t valueLength;
    std::size_t line;    ///< in which the key begins
    std::size_t column;  ///< of the first byte of the key, or of the separator if the key is empty
    std::vector<std::size_t> overriddenLines;  ///< where the other lines with the key begin, ascending
  };

  /// A span of bytes that was replaced.
  struct Edit {
    std::size_t offset;    ///< of the first byte, before the change
    std::size_t removed;   ///< the number of bytes before the change
    std::size_t inserted;  ///< the number of bytes after the change
  };

  /// Copies the bytes. Null data is empty data, whatever the length.
  PropertiesEditor(const char* data, std::size_t length);
  PropertiesEditor(const PropertiesEditor& other) = delete;
  PropertiesEditor& operator=(const PropertiesEditor& other) = delete;
  ~PropertiesEditor();

  // --- ask

  /// Finds the line of the key that counts. Returns false and does not change `place` if no line has the key.
  bool find(const icu::UnicodeString& key, Place& place) const;
  /// The text with all changes.
  std::string bytes() const;
  /// The spans that the last `set` or `remove` replaced, ascending. Empty if it changed nothing.
  const std::vector<Edit>& edits() const KELINFRA_LIFETIMEBOUND;

  // --- change

  /// Gives the property this value and returns true. If `load` reads the value already, no byte changes.
  /// Otherwise the value in the last line with the key is replaced; separator and line end of this line stay.
  /// If no line has the key, a line "key=value" is added at the end, with the line end of the line before it
  /// (LF in an empty text). If that line has no line end, it gets one.
  ///
  /// Characters are escaped as `ExtendedProperties::save` does, and a SPACE at the start of the value too.
  /// In a few places a shorter change would be read differently: then the whole line is written again, or a
  /// line end is added to it. These are a backslash and an escape \uXXXX at the end of the text, and a
  /// continuation with CR that an empty value would join with the LF after it.
  ///
  /// Returns false and changes nothing if the format cannot hold the key or the value: a character above
  /// U+FFFF, half a surrogate pair, U+FDD0 to U+FDEF, U+FFFE or U+FFFF, or a bogus text.
  /// `ExtendedProperties::escapeText` returns a form of each text that it can hold.
  bool set(const icu::UnicodeString& key, const icu::UnicodeString& value);
  /// Removes all lines with the key, so that no former value returns, and returns their number. Comments
  /// stay.
  std::size_t remove(const icu::UnicodeString& key);

 private:
  class KELINFRA_LOCAL Lines;

  std::unique_ptr<Lines> lines_;
};

}  // namespace tarvo::util
