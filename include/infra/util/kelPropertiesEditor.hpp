#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tarvo::util {

/// Changes single properties of a properties text and keeps all other bytes of the text: comments, order,
/// blanks, line ends.
///
///     const std::string text = "# ports\nport : 80\nhost=db1\n";
///     PropertiesEditor editor(text.data(), text.size());
///     editor.set("port", "4711");
///     editor.set("user", "me");
///     editor.bytes() == "# ports\nport : 4711\nhost=db1\nuser=me\n";     // -> true
///
/// The editor accepts every text that `ExtendedProperties::load` accepts, that is, any sequence of bytes.
/// Keys and values are the same as those that `load` reads without resolving references. In the comments of
/// this class, a line includes the lines that continue it, and its line end.
///
/// After a change, `load` reads the new value, and all other properties as before. The only bytes that change
/// are those in the spans that `edits` returns.
///
/// Threads: either one thread at a time may use an object, or any number of threads that only read.
///
/// Errors: if there is no memory, a member raises std::bad_alloc, and the text is unchanged.
///
/// Cost: the constructor reads the text once; the editor takes about 64 bytes for each line in addition to
/// the text, and about 100 bytes and the key for each key. The time of a change is proportional to the number
/// of lines with the same key, and does not depend on the number of other lines. The time of `bytes` is
/// proportional to the size of the text.
class KELINFRA_API PropertiesEditor {
 public:
  /// The place of a property in the text. Positions and lengths are in bytes. Positions count from 0; lines
  /// and columns count from 1. For line numbers, LF, CR and CR LF each end one line, also where a backslash
  /// continues the line.
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

  /// Copies the bytes at `data`. If `data` is null, the text is empty, whatever the length.
  PropertiesEditor(const char* data, std::size_t length);
  PropertiesEditor(const PropertiesEditor& other) = delete;
  PropertiesEditor& operator=(const PropertiesEditor& other) = delete;
  ~PropertiesEditor();

  // --- ask

  /// Finds the last line with the key, which determines the value, and describes this line in `place`. If no
  /// line has the key, returns false and does not change `place`.
  bool find(const icu::UnicodeString& key, Place& place) const;
  /// Returns the text with all changes.
  std::string bytes() const;
  /// Returns the spans that the last `set` or `remove` replaced, in ascending order. If that call changed
  /// nothing, the result is empty.
  const std::vector<Edit>& edits() const KELINFRA_LIFETIMEBOUND;

  // --- change

  /// Sets the value of the property and returns true. If `load` already reads this value, no byte changes.
  /// Otherwise `set` replaces the value in the last line with the key; the separator and the line end of this
  /// line stay. If no line has the key, `set` adds a line "key=value" at the end of the text. The new line
  /// has the same line end as the line before it, or LF if the text is empty. If the last line of the old
  /// text has no line end, `set` adds a line end to it.
  ///
  /// `set` escapes characters as `ExtendedProperties::save` does, and escapes a SPACE at the start of the
  /// value too. Sometimes `load` would misread the line if only the value changed, for example if the text
  /// ended with a backslash or with an escape \uXXXX, or if an empty value joined a CR with the LF after it.
  /// In such a case `set` writes the whole line again, or adds a line end to the line.
  ///
  /// Returns false and changes nothing if the format cannot represent the key or the value: if one of them
  /// contains a character above U+FFFF, an unpaired surrogate, U+FDD0 to U+FDEF, U+FFFE or U+FFFF, or is
  /// bogus. `ExtendedProperties::escapeText` converts any text to a form that the format can represent.
  bool set(const icu::UnicodeString& key, const icu::UnicodeString& value);
  /// Removes all lines with the key, so that no overridden line takes effect, and returns the number of
  /// removed lines. Comments stay.
  std::size_t remove(const icu::UnicodeString& key);

 private:
  class KELINFRA_LOCAL Lines;

  std::unique_ptr<Lines> lines_;
};

}  // namespace tarvo::util
