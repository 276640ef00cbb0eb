#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <list>

namespace tarvo::oss {

/// A report of one event, usually an error. A message contains an identifier, by which the calling program
/// finds a text for its users; ordered arguments, which the program inserts into this text; a level; and the
/// source file and line that created the message.
///
///     Message message("ERR_DISK_FULL", Message::LEVEL_ERROR, "store.cpp", 120);
///     message.addArgument(u"C:");
///     message.addArgument(512);
///     icu::UnicodeString line;
///     message.toString(line);            // -> "ERR_DISK_FULL: [] - [C:] [512]"
///
/// A message is a value: a copy shares nothing with the original. Only one thread at a time may use an
/// object. Returned references are valid until the message's next change. The class raises only
/// std::bad_alloc.
class KELINFRA_API Message {
 public:
  /// The severity of a message. Each level is one bit.
  enum Level : int { LEVEL_INFO = 1, LEVEL_WARNING = 2, LEVEL_ERROR = 4, LEVEL_SEVERE = 8 };

  /// Creates a message whose identifier, text and file name are empty (not bogus), with `LEVEL_ERROR`, line 0
  /// and no arguments.
  Message();
  Message(const icu::UnicodeString& id, const icu::UnicodeString& text, Level level);
  /// `fileName` is plain ASCII and is copied; null is the empty name.
  Message(const icu::UnicodeString& id, Level level, const char* fileName, unsigned int lineNumber);
  /// Creates a deep copy; a bogus string stays bogus in the copy.
  Message(const Message& other);
  ~Message();

  /// Not assignable: use `setMessage`.
  Message& operator=(const Message& other) = delete;

  // --- ask --------------------------------------------------------------------------------------------

  const icu::UnicodeString& getMessageID() const KELINFRA_LIFETIMEBOUND;
  /// Returns the same field as `getMessageID`.
  const icu::UnicodeString& getMessageCode() const KELINFRA_LIFETIMEBOUND;
  /// Returns the text exactly as it was set, without formatting the arguments into the text.
  const icu::UnicodeString& getFormattedMessage() const KELINFRA_LIFETIMEBOUND;
  Level getMessageLevel() const;
  const icu::UnicodeString& getFileName() const KELINFRA_LIFETIMEBOUND;
  unsigned int getLineNumber() const;
  int getMessageArgsCount() const;
  const std::list<icu::UnicodeString>& getMessageArgs() const KELINFRA_LIFETIMEBOUND;

  /// Replaces the contents of `out` by one line that describes the message, and returns `out`. Without
  /// arguments the line is "ID: [text]"; with arguments it is "ID: [text] - [first] [second]". The line
  /// contains neither file, line number nor level. If the caller has called `out.getBuffer(minCapacity)` and
  /// not yet `releaseBuffer`, `out` does not change.
  const icu::UnicodeString& toString(icu::UnicodeString& out KELINFRA_LIFETIMEBOUND) const;

  // --- change one field -------------------------------------------------------------------------------

  void setMessageID(const icu::UnicodeString& id);
  void setMessageText(const icu::UnicodeString& text);
  void setMessageLevel(Level level);
  /// `fileName` is plain ASCII and is copied; null is the empty name.
  void setFileName(const char* fileName);
  void setLineNumber(unsigned int lineNumber);

  /// Appends an argument. An empty text is an argument too.
  void addArgument(const icu::UnicodeString& value);
  /// Appends `value` converted from `codepage`: an ICU converter name, "" for ASCII (a byte above 7F becomes
  /// the character of the same number, U+0080 to U+00FF), null for ICU's default converter. A null or empty
  /// `value` adds nothing; an unknown code page adds one empty argument.
  void addArgument(const char* value, const char* codepage);
  /// Each overload interprets the value's low 32 bits as a signed number and appends its decimal text:
  /// 4294967295u adds "-1" and 5000000000 adds "705032704". The overloads cannot change, because message
  /// catalogues depend on these texts. Pass larger numbers as text.
  void addArgument(unsigned char value);
  void addArgument(unsigned short value);
  void addArgument(unsigned int value);
  void addArgument(unsigned long value);
  void addArgument(unsigned long long value);
  void addArgument(signed char value);
  void addArgument(short value);
  void addArgument(int value);
  void addArgument(long value);
  void addArgument(long long value);

  // --- change the whole -------------------------------------------------------------------------------

  /// Resets the message: identifier, text and file name become bogus strings (`isBogus()` is true), the level
  /// is `LEVEL_ERROR`, the line is 0, and there are no arguments. `toString` renders a bogus string as an
  /// empty text.
  void clear();

  /// Each overload resets the message as `clear` does, and then sets the fields for which the overload has
  /// parameters. The arguments may be fields of this message. If the argument is this message itself, nothing
  /// changes.
  void setMessage(const Message& other);
  void setMessage(const icu::UnicodeString& id, const icu::UnicodeString& text, Level level);
  void setMessage(const icu::UnicodeString& id, Level level, const char* fileName, unsigned int lineNumber);

 private:
  template <class Integer>
  void addLow32Bits(Integer value);
  template <class Take>
  void render(Take take) const;
  static constexpr int bitCodedSeverity(Level level);

  icu::UnicodeString id_;
  icu::UnicodeString text_;
  Level level_ = LEVEL_ERROR;
  icu::UnicodeString fileName_;
  unsigned int lineNumber_ = 0;
  std::list<icu::UnicodeString> arguments_;
};

}  // namespace tarvo::oss
