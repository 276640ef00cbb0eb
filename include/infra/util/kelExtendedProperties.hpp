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

/// A configuration: an ordered map from text keys to text values. Values can be read and written as numbers
/// and booleans. Properties can be loaded from text and saved as text, one property on a line; a value can
/// refer to other properties.
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
/// Keys and values are stored exactly as passed: nothing is trimmed, converted to one case or normalised.
/// Keys are ordered by their UTF-16 code units; upper and lower case are different. A key comes before longer
/// keys that begin with it. A bogus key is the empty key.
///
/// References and iterators to a stored property stay valid until that property is removed; changes of other
/// properties do not invalidate them. If the value is changed later, they refer to the new value. `copy` from
/// another object, assignment and destruction invalidate all references and iterators, also `end()`.
///
/// Threads: one thread at a time, or any number of threads that only read.
///
/// Errors: PropertiesException from "src/infra/oss/../util/kelExtendedProperties.cpp", unless the member says
/// otherwise. An argument that is an empty text is recorded as an empty argument. If `resolveReferences`
/// fails, also inside `load`, some properties may have changed; after any other PropertiesException nothing
/// has changed. std::bad_alloc is raised if there is no memory or a text would be longer than 2^31 - 1 units;
/// a `load` that fails in this way may have stored some of its lines.
///
/// Cost: a look-up allocates nothing and compares only a few keys, however many properties there are.
/// Look-ups are slower if the properties do not fit into the processor's caches: 15 ns among 1,000 properties
/// and 143 ns among 100,000 were measured. If an attacker chooses keys that collide in the hash index, a
/// look-up costs a bounded search of the index and a search of the ordered map. Memory is allocated in
/// blocks, each for many properties. The memory of a removed property is used again for later properties; it
/// is released when the object is destroyed or copied to. ICU stores at most 27 units inside a string object;
/// a longer key or value takes a separate block.
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
    /// Compares two texts by their UTF-16 code units.
    KELINFRA_LOCAL static bool precedes(std::u16string_view left, std::u16string_view right) noexcept;
  };
  using Map = std::map<icu::UnicodeString, icu::UnicodeString, KeyOrder>;

  /// True for the same type, and for integers of the same size and signedness: int64_t is `long` on one
  /// platform and `long long` on another.
  template <class Left, class Right>
  static constexpr bool alike() {
    if constexpr (std::is_integral_v<Left> && std::is_integral_v<Right>) {
      return sizeof(Left) == sizeof(Right) && std::is_signed_v<Left> == std::is_signed_v<Right> &&
             std::is_same_v<Left, bool> == std::is_same_v<Right, bool>;
    } else {
      return std::is_same_v<Left, Right>;
    }
  }
  /// True for the type of a pointer to a default, and for the type of `nullptr`. A literal 0 has neither
  /// type: it is a number.
  template <class Pointer, class Value>
  static constexpr bool pointsTo() {
    return std::is_null_pointer_v<Pointer> ||
           (std::is_pointer_v<Pointer> && alike<std::remove_cv_t<std::remove_pointer_t<Pointer>>, Value>());
  }
  template <class Pointer, class Value>
  using DefaultPointer = std::enable_if_t<pointsTo<Pointer, Value>(), int>;

  /// True for all other pointer types, including pointers to members. Such an argument would convert to bool.
  template <class Pointer, class Value>
  static constexpr bool pointsElsewhere() {
    return !pointsTo<Pointer, Value>() && (std::is_pointer_v<Pointer> || std::is_member_pointer_v<Pointer>);
  }
  template <class Pointer, class Value>
  using OtherPointer = std::enable_if_t<pointsElsewhere<Pointer, Value>(), int>;

 public:
  /// Iterates in key order. An element is a pair: `first` is the constant key, `second` the value.
  using iterator = Map::const_iterator;
  using const_iterator = iterator;

  /// Creates an object without properties and includes.
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
  /// If `defaultValue` is a temporary, for instance one that was converted from a literal, the reference is
  /// valid only until the end of the full expression: copy the result.
  const icu::UnicodeString& getProperty(const icu::UnicodeString& key,
                                        const icu::UnicodeString& defaultValue
                                            KELINFRA_LIFETIMEBOUND) const KELINFRA_LIFETIMEBOUND;
  /// Returns a reference to the stored value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  const icu::UnicodeString& requireProperty(const icu::UnicodeString& key) const KELINFRA_LIFETIMEBOUND;

  // --- ask for typed values
  //
  // Each call reads the stored text without its leading and trailing white space (as
  // `icu::UnicodeString::trim` removes it). A boolean is exactly "true", "yes", "on" or "1", or "false",
  // "no", "off" or "0". A number is any text that the function of `Formatter` for the type accepts. Numbers
  // out of range are not errors. An integer out of range that has no more digits than the largest number of
  // its type is reduced modulo 2^32 or 2^64: "4294967296" is 0 as int32 and as uint32, and "3000000000" is
  // -1294967296 as int32. A double out of range is an infinity, or 0 or a number near 0.
  //   raises   ERR_PROPERTY_WRONG_TYPE (key, trimmed text, type word): the text is not a value of the type.
  //            The type word is "boolean", "integer", "int64" or "double". For uint32 it is "uint32" if the
  //            text is a valid int32 (for example a negative number), otherwise "integer". For uint64 it is
  //            "uint64" if the text is a valid int64, otherwise "longint".

  /// Return the value, or `defaultValue` if there is no such property.
  bool getPropertyAsBoolean(const icu::UnicodeString& key, bool defaultValue) const;
  std::int32_t getPropertyAsInt32(const icu::UnicodeString& key, std::int32_t defaultValue) const;
  unsigned int getPropertyAsUInt32(const icu::UnicodeString& key, unsigned int defaultValue) const;
  std::int64_t getPropertyAsInt64(const icu::UnicodeString& key, std::int64_t defaultValue) const;
  std::uint64_t getPropertyAsUint64(const icu::UnicodeString& key, std::uint64_t defaultValue) const;
  double getPropertyAsDouble(const icu::UnicodeString& key, double defaultValue) const;

  /// Return the value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  bool requirePropertyAsBoolean(const icu::UnicodeString& key) const;
  std::int32_t requirePropertyAsInt32(const icu::UnicodeString& key) const;
  unsigned int requirePropertyAsUInt32(const icu::UnicodeString& key) const;
  std::int64_t requirePropertyAsInt64(const icu::UnicodeString& key) const;
  std::uint64_t requirePropertyAsUint64(const icu::UnicodeString& key) const;
  double requirePropertyAsDouble(const icu::UnicodeString& key) const;

  /// The checked forms read the same texts, but do not reduce: a number out of the type's range is refused.
  /// The value, or `defaultValue` if there is no such property.
  ///   raises   ERR_PROPERTY_WRONG_TYPE (key, trimmed text, type word): the text is no such value, or the
  ///            number is out of range. The type word is the same as above.
  std::int32_t getPropertyAsCheckedInt32(const icu::UnicodeString& key, std::int32_t defaultValue) const;
  unsigned int getPropertyAsCheckedUInt32(const icu::UnicodeString& key, unsigned int defaultValue) const;
  std::int64_t getPropertyAsCheckedInt64(const icu::UnicodeString& key, std::int64_t defaultValue) const;
  std::uint64_t getPropertyAsCheckedUint64(const icu::UnicodeString& key, std::uint64_t defaultValue) const;

  /// The value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  ///            ERR_PROPERTY_WRONG_TYPE (key, trimmed text, type word): as above
  std::int32_t requirePropertyAsCheckedInt32(const icu::UnicodeString& key) const;
  unsigned int requirePropertyAsCheckedUInt32(const icu::UnicodeString& key) const;
  std::int64_t requirePropertyAsCheckedInt64(const icu::UnicodeString& key) const;
  std::uint64_t requirePropertyAsCheckedUint64(const icu::UnicodeString& key) const;

  /// These overloads do not check the range. They take the default by pointer (`const X*`) and return the
  /// value, or `*defaultValue` if there is no such property. If the pointer is null, the property is
  /// required. A literal 0 is the number 0, not a null pointer.
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

  /// Pointers to other types do not compile. Otherwise `getPropertyAsBoolean("key", "false")` would convert
  /// the pointer to true.
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

  /// Stores the value under the key. If the property exists, its value is replaced; references to the
  /// property stay valid. Key and value may be references to texts that this object stores.
  void putProperty(const icu::UnicodeString& key, const icu::UnicodeString& value);
  /// These members store the decimal text of the number: "-" for a negative number, and digits without
  /// grouping.
  void putPropertyAsInt32(const icu::UnicodeString& key, std::int32_t value);
  void putPropertyAsUint32(const icu::UnicodeString& key, unsigned int value);
  void putPropertyAsInt64(const icu::UnicodeString& key, std::int64_t value);
  void putPropertyAsUint64(const icu::UnicodeString& key, std::uint64_t value);
  /// Removes the property and returns the number of properties removed: 0 or 1. The key may be a
  /// reference to a key or value that this object stores.
  std::int32_t removeProperty(const icu::UnicodeString& key);
  /// Appends a name to the list of includes; `save` writes each as a line "#include name". The name is
  /// written unchanged, so a line end inside the name ends the line. `load` treats an "#include" line as a
  /// comment and adds no include.
  void addInclude(const icu::UnicodeString& name);

  // --- iterate

  iterator begin() const KELINFRA_LIFETIMEBOUND;
  iterator end() const KELINFRA_LIFETIMEBOUND;
  /// Returns the key at `it`; `it` must not be `end()`.
  const icu::UnicodeString& get(const iterator& it) const KELINFRA_LIFETIMEBOUND;

  // --- the text format: load
  //
  // The format consists of bytes. Each byte is the character of the same number (ISO-8859-1); NUL has no
  // special meaning. White space is TAB and SPACE. Lines end with LF, CR or CR LF; the last line may end at
  // the end of the data.
  //   - A line that consists of white space is empty. If the first byte that is not white space is "#" or
  //     "!", the line is a comment.
  //   - The key ends at ":", "=", white space or the line's end. Then white space, one ":" or "=", and white
  //     space are skipped. The rest of the line is the value, including trailing white space and further "=".
  //   - A backslash before a line end continues the line: the backslash, the line end and the white space at
  //     the start of the next line are skipped. A backslash before the key does the same; the line after it
  //     can then be a comment or an empty line. A backslash at the end of a comment does not continue the
  //     comment.
  //   - In keys and values \n, \r and \t mean LF, CR and TAB. \uXXXX, with hexadecimal digits of either case,
  //     means the character with that number. A backslash before any other byte means that byte. A backslash
  //     as the last byte of the data is ignored.
  //   - \uXXXX is read as a character only if at least one more byte follows it and the number is neither a
  //     surrogate nor FDD0 to FDEF, FFFE or FFFF. Otherwise \u means the letter "u", and the digits are read
  //     as ordinary bytes. Therefore end the data with a line end.
  // Every sequence of bytes is accepted: only resolving references can raise errors. If several lines have
  // the same key, the last one determines the value. Properties that exist before the call stay unless a line
  // replaces them. If `data` is null, the data is empty, whatever the length.

  /// Reads all lines and then, if `resolveReferences` is true, resolves references.
  void load(const char* data, std::size_t length, bool resolveReferences);
  /// Reads all lines, then resolves references.
  void load(const char* data, std::size_t length);
  /// Converts the text to ISO-8859-1, reads all lines, then resolves references. A character that ISO-8859-1
  /// does not contain becomes the byte 26.
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY ("Converter::convertToBytes()"), from "kelConverter.cpp"
  void load(const icu::UnicodeString& text);
  /// Reads one line, with its continuations, from `position`, stores its property if the line has one, and
  /// moves `position` to the byte after the line. If `position` is at or after the end of the data, returns
  /// false and does nothing. If the rest of the data consists of white space and continuations, it is a line
  /// without a property.
  bool parseLine(std::size_t& position, const char* data, std::size_t length);

  /// Replaces each reference "%name%" in every value by the value of the property with that name, and stores
  /// the result. The properties are processed in key order. References in the inserted value are replaced
  /// first. The first "%" of a value and the next "%" enclose a name. After each replacement the search
  /// starts again at the beginning of the value, so a "%" that was inserted can enclose a name together with
  /// the next "%" after it. A single "%" stays. "%%" refers to the property with the empty key.
  ///
  /// References may be nested to any depth. The time is proportional to the text that is read and written,
  /// including text that is replaced again later. It can be exponential in the size of a file if each line
  /// refers twice to the line before it. There is one exception to the proportional time: names that begin
  /// with the end of a value, after its only "%". For n units of such names and values the time can be
  /// proportional to n^(4/3); ten million units that were constructed for this case took 1 s. A value above
  /// 2^31 - 1 units raises std::bad_alloc. Load untrusted files without resolving references. To resolve them
  /// later, first limit the number and nesting of references, or reject values that contain "%".
  ///   raises   ERR_PROPERTIES_CYCLIC_REFERENCE (key): the value of the property `key` refers to that
  ///            property, directly or through other properties
  ///            ERR_PROPERTIES_BAD_REFERENCE (key, name): the value of `key` refers to a property that does
  ///            not exist
  ///            After both errors the replacements made before the error stay, also in values that still
  ///            contain references.
  void resolveReferences();

  // --- the text format: save

  /// Writes lines that end with CR LF. The first line is "#saved by ExtendedProperties on ", without a date.
  /// Then follow a line "#include name" for each include and a line "key=value" for each property in key
  /// order. At the end the stream is flushed.
  ///
  /// In keys and values CR, LF, TAB, "!", "#", ":", "=" and backslash are escaped; in keys SPACE is escaped
  /// too. On all lines characters above 127 are written as \uXXXX. In these cases `load` reads back something
  /// else than was saved:
  ///   - A character above U+FFFF is written as two equal escapes of the low 16 bits of its number. U+10041
  ///     reads back as "AA"; U+10025 reads back as "%%", which `load` then resolves.
  ///   - Half a surrogate pair, U+FDD0 to U+FDEF, U+FFFE and U+FFFF are written as escapes that `load` does
  ///     not read as characters. U+D800 reads back as "uD800".
  ///   - Leading SPACEs of a value are lost.
  ///   - A "%" can be read as part of a reference, unless `load` is called without resolving references.
  ///   - Bogus keys and values read back as empty ones. Includes are lost, because `load` reads them as
  ///     comments.
  /// Two different keys can read back as the same key; the property that is later in key order then replaces
  /// the other. So a key from an untrusted source can overwrite another property: reject keys with such
  /// characters.
  /// `roundTrips` finds these properties; `escapeText` stores any text.
  ///   raises   any error of the stream; the bytes before the error are written
  void save(oss::OutputStream& out) const;

  /// Whether `load` reads a property back exactly as `save` writes it. If this is true for each property, it
  /// reads exactly these properties back. With `resolveReferences`, the question is about a `load` that
  /// resolves references: then a value with two or more "%" does not round-trip.
  static bool roundTrips(const icu::UnicodeString& key, const icu::UnicodeString& value,
                         bool resolveReferences);
  /// The same for a `load` that resolves references.
  static bool roundTrips(const icu::UnicodeString& key, const icu::UnicodeString& value);

  /// Returns a text that round-trips as a key and as a value, and from which `unescapeText` restores `text`,
  /// whatever its code units are. A SPACE that begins the text, each "%" and "~", each half of a surrogate
  /// pair, U+FDD0 to U+FDEF, U+FFFE and U+FFFF become "~" and the four hexadecimal digits of the code unit.
  /// All other units stay as they are. A bogus text is an empty text.
  ///
  ///     const icu::UnicodeString stored = ExtendedProperties::escapeText(u"90 % of ~x");
  ///     stored;                                                        // -> "90 ~0025 of ~007Ex"
  ///     icu::UnicodeString text;
  ///     const bool done = ExtendedProperties::unescapeText(stored, text);   // text -> "90 % of ~x"
  static icu::UnicodeString escapeText(const icu::UnicodeString& text);
  /// Replaces each "~XXXX" by the code unit and stores the result in `text`, which may be the same object.
  /// The digits can be of either case. Returns false and does not change `text` if a "~" is not followed by
  /// four hexadecimal digits.
  static bool unescapeText(const icu::UnicodeString& escaped, icu::UnicodeString& text);

  /// Writes a listing for people to read: the line "-- listing properties --" and a line "key=value" for each
  /// property in key order. The text is not escaped and is in ICU's default code page. The stream is flushed
  /// after each line.
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
  friend class PropertyReferences;  // a class of the library that programs do not use

  KELINFRA_LOCAL const icu::UnicodeString* findProperty(const icu::UnicodeString& key,
                                                        const icu::UnicodeString* defaultValue,
                                                        bool required) const;
  KELINFRA_LOCAL void storeLines(const char* data, std::size_t length);

  std::unique_ptr<PropertyMap> properties_;
  std::list<icu::UnicodeString> includes_;
};

}  // namespace tarvo::util
