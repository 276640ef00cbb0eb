#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelOutputStream.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <list>
#include <map>
#include <memory>
#include <string_view>
#include <type_traits>

namespace tarvo::util {

/// Configuration: an ordered map from text keys to text values. Values can be read and written as typed
/// values. There is a text format of lines, in which properties can refer to other properties.
///
///     const std::string text = "host=db1\nport=4711\nurl=tcp:%host%\n";
///     ExtendedProperties settings;
///     settings.load(text.data(), text.size());
///     const unsigned int port = settings.getPropertyAsUInt32("port", 80);   // -> 4711
///     const icu::UnicodeString& url = settings.requireProperty("url");      // -> "tcp:db1"
///     icu::UnicodeString keys;
///     for (const auto& [key, value] : settings) keys += key + u" ";         // keys -> "host port url "
///     settings.list(std::cout);    // prints -- listing properties -- host=db1 port=4711 url=tcp:db1
///
/// Keys and values are kept exactly as passed: nothing is trimmed, folded or normalised. Keys are ordered by
/// their UTF-16 code units, case counts, and a key comes before longer ones that begin with it. A bogus key
/// is the empty key.
///
/// References and iterators to a stored key or value stay valid until that entry is removed, whatever happens
/// to other entries; they show a later change of the value. `copy` from another object, assignment and
/// destruction invalidate all of them, also `end()`.
///
/// Threads: one thread at a time, or any number that only read.
///
/// Errors: PropertiesException from "src/infra/oss/../util/kelExtendedProperties.cpp", unless the member says
/// otherwise. An argument that is an empty text is recorded as an empty argument. An error of
/// `resolveReferences`, in a `load` too, leaves the map partly changed; no other error changes it.
/// std::bad_alloc is raised if there is no memory or a text would be longer than 2^31 - 1 units; a `load` may
/// have stored some of its lines then.
///
/// Cost: a look-up allocates nothing and compares a few keys, independently of their number. It slows down as
/// the properties outgrow the processor's caches: 15 ns among 1,000 properties and 143 ns among 100,000 were
/// measured. If keys are chosen to collide, a look-up costs a bounded search of the index and one of the
/// ordered map. Memory for properties is allocated in blocks of many; memory of removed ones is kept for
/// later ones until the object is destroyed or copied to. A key or value above 27 units, which ICU does not
/// store inside its string object, takes a separate block.
class KELINFRA_API ExtendedProperties {
  struct KeyOrder {
    using is_transparent = void;

    static std::u16string_view units(const icu::UnicodeString& text) {
      return {text.getBuffer(), static_cast<std::size_t>(text.length())};
    }
    static std::u16string_view units(std::u16string_view text) { return text; }

    template <class Left, class Right>
    bool operator()(const Left& left, const Right& right) const {
      return precedes(units(left), units(right));
    }

   private:
    /// Compares the UTF-16 code units.
    KELINFRA_LOCAL static bool precedes(std::u16string_view left, std::u16string_view right) noexcept;
  };
  using Map = std::map<icu::UnicodeString, icu::UnicodeString, KeyOrder>;

  /// The same type, or integers of the same size and sign: int64_t is `long` on one platform and `long long`
  /// on the other.
  template <class Left, class Right>
  static constexpr bool alike() {
    if constexpr (std::is_integral_v<Left> && std::is_integral_v<Right>) {
      return sizeof(Left) == sizeof(Right) && std::is_signed_v<Left> == std::is_signed_v<Right> &&
             std::is_same_v<Left, bool> == std::is_same_v<Right, bool>;
    } else {
      return std::is_same_v<Left, Right>;
    }
  }
  /// Pointers to a default, and `nullptr`. A literal 0 is neither: it is a number.
  template <class Pointer, class Value>
  static constexpr bool pointsTo() {
    return std::is_null_pointer_v<Pointer> ||
           (std::is_pointer_v<Pointer> && alike<std::remove_cv_t<std::remove_pointer_t<Pointer>>, Value>());
  }
  template <class Pointer, class Value>
  using DefaultPointer = std::enable_if_t<pointsTo<Pointer, Value>(), int>;

  /// All other pointers, also those to members. As an argument they would convert to bool.
  template <class Pointer, class Value>
  static constexpr bool pointsElsewhere() {
    return !pointsTo<Pointer, Value>() && (std::is_pointer_v<Pointer> || std::is_member_pointer_v<Pointer>);
  }
  template <class Pointer, class Value>
  using OtherPointer = std::enable_if_t<pointsElsewhere<Pointer, Value>(), int>;

 public:
  /// Iterates over pairs of a constant key, `first`, and a value, `second`, in key order.
  using iterator = Map::const_iterator;
  using const_iterator = iterator;

  /// Empty: no properties, no includes.
  ExtendedProperties();
  /// Copies as `copy` does.
  ExtendedProperties(const ExtendedProperties& other);
  virtual ~ExtendedProperties();

  /// Copies as `copy` does.
  ExtendedProperties& operator=(const ExtendedProperties& other) KELINFRA_LIFETIMEBOUND;

  /// Replaces the properties and includes by copies of those of the other object. Copying an object to itself
  /// changes nothing.
  void copy(const ExtendedProperties& other);

  // --- ask for texts

  /// Returns a reference to the stored value, untrimmed, or to `defaultValue` if there is no such property.
  /// If the default is a temporary, for instance one made of a literal, the reference is valid only up to the
  /// end of the full expression: copy the result.
  const icu::UnicodeString& getProperty(const icu::UnicodeString& key,
                                        const icu::UnicodeString& defaultValue
                                            KELINFRA_LIFETIMEBOUND) const KELINFRA_LIFETIMEBOUND;
  /// Returns a reference to the stored value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  const icu::UnicodeString& requireProperty(const icu::UnicodeString& key) const KELINFRA_LIFETIMEBOUND;

  // --- ask for typed values
  //
  // Each call reads the stored text, without its leading and trailing white space (ICU's). Boolean: exactly
  // one of "true", "yes", "on", "1", or "false", "no", "off", "0". Numbers: every text that the function of
  // `Formatter` for the type accepts. These functions do not report out-of-range numbers as errors. An
  // integer with no more digits than the largest of its type is reduced modulo 2^32 or 2^64: "4294967296" is
  // 0 as int32 and as uint32, "3000000000" is -1294967296 as int32. A double becomes an infinity, or about 0.
  //   raises   ERR_PROPERTY_WRONG_TYPE (key, trimmed text, type word): the text is no such value. The type
  //            word is "boolean", "integer", "int64" or "double". For uint32 it is "uint32" when the text
  //            reads as int32 (as a negative number does), else "integer"; for uint64 it is "uint64" when it
  //            reads as int64, else "longint".

  /// The value, or `defaultValue` when there is no such property.
  bool getPropertyAsBoolean(const icu::UnicodeString& key, bool defaultValue) const;
  std::int32_t getPropertyAsInt32(const icu::UnicodeString& key, std::int32_t defaultValue) const;
  unsigned int getPropertyAsUInt32(const icu::UnicodeString& key, unsigned int defaultValue) const;
  std::int64_t getPropertyAsInt64(const icu::UnicodeString& key, std::int64_t defaultValue) const;
  std::uint64_t getPropertyAsUint64(const icu::UnicodeString& key, std::uint64_t defaultValue) const;
  double getPropertyAsDouble(const icu::UnicodeString& key, double defaultValue) const;

  /// The value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  bool requirePropertyAsBoolean(const icu::UnicodeString& key) const;
  std::int32_t requirePropertyAsInt32(const icu::UnicodeString& key) const;
  unsigned int requirePropertyAsUInt32(const icu::UnicodeString& key) const;
  std::int64_t requirePropertyAsInt64(const icu::UnicodeString& key) const;
  std::uint64_t requirePropertyAsUint64(const icu::UnicodeString& key) const;
  double requirePropertyAsDouble(const icu::UnicodeString& key) const;

  /// The same with the default by pointer, `const X*`: the value, or `*defaultValue` when there is no such
  /// property. With a null pointer the property is required. A literal 0 is the number and not a null
  /// pointer.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property, and the pointer is null
  template <class Pointer, DefaultPointer<Pointer, bool> = 0>
  bool getPropertyAsBoolean(const icu::UnicodeString& key, Pointer defaultValue) const {
    return defaultValue == nullptr ? requirePropertyAsBoolean(key)
                                   : getPropertyAsBoolean(key, valueAt<bool>(defaultValue));
  }
  template <class Pointer, DefaultPointer<Pointer, std::int32_t> = 0>
  std::int32_t getPropertyAsInt32(const icu::UnicodeString& key, Pointer defaultValue) const {
    return defaultValue == nullptr ? requirePropertyAsInt32(key)
                                   : getPropertyAsInt32(key, valueAt<std::int32_t>(defaultValue));
  }
  template <class Pointer, DefaultPointer<Pointer, unsigned int> = 0>
  unsigned int getPropertyAsUInt32(const icu::UnicodeString& key, Pointer defaultValue) const {
    return defaultValue == nullptr ? requirePropertyAsUInt32(key)
                                   : getPropertyAsUInt32(key, valueAt<unsigned int>(defaultValue));
  }
  template <class Pointer, DefaultPointer<Pointer, std::int64_t> = 0>
  std::int64_t getPropertyAsInt64(const icu::UnicodeString& key, Pointer defaultValue) const {
    return defaultValue == nullptr ? requirePropertyAsInt64(key)
                                   : getPropertyAsInt64(key, valueAt<std::int64_t>(defaultValue));
  }
  template <class Pointer, DefaultPointer<Pointer, std::uint64_t> = 0>
  std::uint64_t getPropertyAsUint64(const icu::UnicodeString& key, Pointer defaultValue) const {
    return defaultValue == nullptr ? requirePropertyAsUint64(key)
                                   : getPropertyAsUint64(key, valueAt<std::uint64_t>(defaultValue));
  }
  template <class Pointer, DefaultPointer<Pointer, double> = 0>
  double getPropertyAsDouble(const icu::UnicodeString& key, Pointer defaultValue) const {
    return defaultValue == nullptr ? requirePropertyAsDouble(key)
                                   : getPropertyAsDouble(key, valueAt<double>(defaultValue));
  }

  /// Pointers to other types do not compile: `getPropertyAsBoolean("key", "false")` would mean true.
  template <class Pointer, OtherPointer<Pointer, bool> = 0>
  bool getPropertyAsBoolean(const icu::UnicodeString& key, Pointer defaultValue) const = delete;
  template <class Pointer, OtherPointer<Pointer, std::int32_t> = 0>
  std::int32_t getPropertyAsInt32(const icu::UnicodeString& key, Pointer defaultValue) const = delete;
  template <class Pointer, OtherPointer<Pointer, unsigned int> = 0>
  unsigned int getPropertyAsUInt32(const icu::UnicodeString& key, Pointer defaultValue) const = delete;
  template <class Pointer, OtherPointer<Pointer, std::int64_t> = 0>
  std::int64_t getPropertyAsInt64(const icu::UnicodeString& key, Pointer defaultValue) const = delete;
  template <class Pointer, OtherPointer<Pointer, std::uint64_t> = 0>
  std::uint64_t getPropertyAsUint64(const icu::UnicodeString& key, Pointer defaultValue) const = delete;
  template <class Pointer, OtherPointer<Pointer, double> = 0>
  double getPropertyAsDouble(const icu::UnicodeString& key, Pointer defaultValue) const = delete;

  // --- change

  /// Stores the value under the key. A former value is replaced; references to it stay valid. Key and value
  /// may be texts of this object.
  void putProperty(const icu::UnicodeString& key, const icu::UnicodeString& value);
  /// Store the number's plain decimal text: "-" before negatives, no other sign, no grouping.
  void putPropertyAsInt32(const icu::UnicodeString& key, std::int32_t value);
  void putPropertyAsUint32(const icu::UnicodeString& key, unsigned int value);
  void putPropertyAsInt64(const icu::UnicodeString& key, std::int64_t value);
  void putPropertyAsUint64(const icu::UnicodeString& key, std::uint64_t value);
  /// Removes the property and returns how many were removed: 0 or 1. The key may be a text of this object.
  std::int32_t removeProperty(const icu::UnicodeString& key);
  /// Appends a name to those that `save` writes as "#include " lines. The name is written unchanged, so a
  /// line end in it ends the line. `load` reads such a line as a comment: only this member fills the list.
  void addInclude(const icu::UnicodeString& name);

  // --- iterate

  iterator begin() const KELINFRA_LIFETIMEBOUND;
  iterator end() const KELINFRA_LIFETIMEBOUND;
  /// The key at `it`, which is not `end()`.
  const icu::UnicodeString& get(const iterator& it) const KELINFRA_LIFETIMEBOUND;

  // --- the text format: load
  //
  // The format is bytes; each byte is the character of the same number (ISO-8859-1), NUL like any other.
  // White space is TAB and SPACE. Lines end in LF, CR or CR LF, the last one at the end of the data.
  //   - A line that consists of white space is empty. If the first byte that is not white space is "#" or
  //     "!", the line is a comment.
  //   - The key ends at ":", "=", white space or the line's end. Then white space, one ":" or "=", and white
  //     space are skipped. The rest of the line is the value, including trailing white space and further "=".
  //   - A backslash before a line end continues the line: both and the white space that begins the next line
  //     are skipped. This holds before a key too: then a comment or an empty line can follow. Comments are
  //     not continued.
  //   - In keys and values \n, \r, \t are LF, CR, TAB; \uXXXX, hexadecimal digits of either case, is that
  //     character; a backslash before any other byte is that byte; a backslash as the last byte of the data
  //     is ignored.
  //   - \uXXXX is read as a character only if at least one more byte follows it, and if it names neither a
  //     surrogate nor U+FDD0 to U+FDEF, U+FFFE or U+FFFF. Otherwise it is the letter "u", and the bytes after
  //     that are read as usual. So end the data with a line end.
  // Every sequence of bytes yields a map. If several lines have the same key, the last one wins. Errors come
  // only from `resolveReferences`. Properties that exist already stay unless a line replaces them. Null data
  // is empty data, whatever the length.

  /// Reads all lines and then, if `resolveReferences` is true, resolves references.
  void load(const char* data, std::size_t length, bool resolveReferences);
  /// Reads all lines, then resolves references.
  void load(const char* data, std::size_t length);
  /// Converts the text to ISO-8859-1, reads all lines, then resolves references. A character that ISO-8859-1
  /// does not contain becomes its substitution byte, 26.
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY ("Converter::convertToBytes()"), from "kelConverter.cpp"
  void load(const icu::UnicodeString& text);
  /// Reads one line, with its continuations, from `position`, stores its property if it has one, and moves
  /// `position` after it. Returns false and does nothing if `position` is at the end or beyond. If the rest
  /// of the data consists of white space and continuations, it is a line without a property.
  bool parseLine(std::size_t& position, const char* data, std::size_t length);

  /// Replaces each "%name%" in every value by the value of the property of that name, in key order, and
  /// stores the result. References in that value are replaced first. In a value the first "%" pairs with the
  /// next one. After each replacement the search starts again at the beginning of the value: a "%" that came
  /// with a replacement pairs with the next one after it. A "%" without a partner stays. "%%" refers to the
  /// property of the empty key.
  ///
  /// References may be nested to any depth. The time is proportional to the text that is read and written,
  /// including text that is replaced again later. It can be exponential in the size of a file if each line
  /// refers twice to the line before it. Names that begin with the tail of a value (the text after its only
  /// "%") are an exception: n units of such names and values can take time proportional to n^(4/3); ten
  /// million units crafted for it took 1 s. A value above 2^31 - 1 units raises std::bad_alloc. Load
  /// untrusted files without resolving, and limit the number and nesting of references, or refuse "%".
  ///   raises   ERR_PROPERTIES_CYCLIC_REFERENCE (key): the value of this property refers to itself, directly
  ///            or through other properties
  ///            ERR_PROPERTIES_BAD_REFERENCE (key, name): the value of `key` refers to a property that does
  ///            not exist
  ///            Both keep the replacements made before the error, also those in values that are not complete.
  void resolveReferences();

  // --- the text format: save

  /// Writes lines that end in CR LF: "#saved by ExtendedProperties on " with nothing after the blank; an
  /// "#include " line for each include; "key=value" for each property in key order. Then it flushes the
  /// stream.
  ///
  /// In keys and values CR, LF, TAB, "!", "#", ":", "=" and backslash are escaped, in keys SPACE too; on all
  /// lines characters above 127 are written as \uXXXX. `load` does not read everything back as it was:
  ///   - A character above U+FFFF is written as two escapes, each of the low 16 bits of its number. U+10041
  ///     reads back as "AA"; U+10025 reads back as "%%", which `load` then resolves.
  ///   - Half a surrogate pair, U+FDD0 to U+FDEF, U+FFFE and U+FFFF are written as escapes that `load` does
  ///     not accept. U+D800 reads back as "uD800".
  ///   - Leading SPACEs of a value are lost.
  ///   - A "%" becomes a part of a reference, unless `load` is called without resolving.
  ///   - Bogus keys and values read back as empty ones, and the includes are comments.
  /// Two keys can read back as one; the property that is written later, in key order, replaces the other. So
  /// a key from an untrusted source can overwrite another property: refuse such characters in it.
  ///   raises   any error of the stream; the bytes before it are written
  void save(oss::OutputStream& out) const;

  /// Writes "-- listing properties --" and a line "key=value" for each property in key order, for people to
  /// read: not escaped, in ICU's default code page, each line flushed.
  void list(std::ostream& out) const;

 private:
  template <class Value, class Pointer>
  static Value valueAt(Pointer pointer) {
    if constexpr (std::is_null_pointer_v<Pointer>) {
      return Value();  // never evaluated
    } else {
      return static_cast<Value>(*pointer);
    }
  }

  class KELINFRA_LOCAL PropertyMap;
  class KELINFRA_LOCAL Resolver;

  KELINFRA_LOCAL const icu::UnicodeString* findProperty(const icu::UnicodeString& key,
                                                        const icu::UnicodeString* defaultValue,
                                                        bool required) const;
  KELINFRA_LOCAL void storeLines(const char* data, std::size_t length);

  std::unique_ptr<PropertyMap> properties_;
  std::list<icu::UnicodeString> includes_;
};

}  // namespace tarvo::util
