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

/// A configuration: an ordered map from text keys to text values, called properties. A program can read and
/// write values as numbers and booleans, load properties from a text, and save them as a text with one
/// property on each line. A value can refer to other properties.
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
/// Keys and values are stored exactly as the program passes them: nothing is trimmed, converted to one case
/// or normalised. Keys are ordered by their UTF-16 code units, so upper and lower case differ, and a key
/// comes before longer keys that begin with the same units. A bogus text (`isBogus()`) as a key counts as the
/// empty key.
///
/// References and iterators to a stored property stay valid until that property is removed; changes of other
/// properties do not invalidate them. If the value of a property changes, references to the value refer to
/// the new value. All references and iterators, also `end()`, become invalid if another object is copied or
/// assigned to this object, or if this object is destroyed.
///
/// Threads: either one thread at a time may use an object, or any number of threads that only read.
///
/// Errors: PropertiesException from "src/infra/oss/../util/kelExtendedProperties.cpp", unless the member says
/// otherwise. If an argument of an error is an empty text, the message contains an empty argument. If
/// `resolveReferences` fails, or a `load` that calls `resolveReferences`, some properties may have changed.
/// After any other PropertiesException nothing has changed. Members raise std::bad_alloc if there is no
/// memory, or if a text would be longer than 2^31 - 1 units. If `load` raises std::bad_alloc, it may have
/// stored some of the lines.
///
/// Cost: a look-up allocates nothing and compares only a few keys, however many properties there are.
/// Look-ups are slower if the properties do not fit into the processor's caches: 15 ns among 1,000 properties
/// and 143 ns among 100,000 were measured. If an attacker chooses keys that collide in the hash index, a
/// look-up searches a limited part of the index and then the ordered map. The object allocates memory in
/// blocks, each for many properties. The memory of a removed property is used again for later properties. The
/// object releases this memory only when the object is destroyed, or when another object is copied to it. ICU
/// stores at most 27 units inside a string object; a longer key or value needs a separate allocation.
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
  /// True for the type of a pointer to a default, and for the type of `nullptr`; false for a literal 0, which
  /// is a number.
  template <class Pointer, class Value>
  static constexpr bool pointsTo() {
    return std::is_null_pointer_v<Pointer> ||
           (std::is_pointer_v<Pointer> && alike<std::remove_cv_t<std::remove_pointer_t<Pointer>>, Value>());
  }
  template <class Pointer, class Value>
  using DefaultPointer = std::enable_if_t<pointsTo<Pointer, Value>(), int>;

  /// True for each pointer type for which `pointsTo` is false, and for pointers to members. An argument of
  /// such a type would convert to bool.
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

  /// Replaces the properties and includes of this object by copies of the properties and includes of `other`.
  /// Copying an object to itself changes nothing.
  void copy(const ExtendedProperties& other);

  // --- ask for texts

  /// Returns a reference to the stored value, untrimmed, or to `defaultValue` if there is no such property.
  /// If `defaultValue` is a temporary, for instance one that was converted from a literal, the reference is
  /// valid only until the end of the full expression: in this case copy the result.
  const icu::UnicodeString& getProperty(const icu::UnicodeString& key,
                                        const icu::UnicodeString& defaultValue
                                            KELINFRA_LIFETIMEBOUND) const KELINFRA_LIFETIMEBOUND;
  /// Returns a reference to the stored value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  const icu::UnicodeString& requireProperty(const icu::UnicodeString& key) const KELINFRA_LIFETIMEBOUND;

  // --- ask for typed values
  //
  // Each call reads the stored text without its leading and trailing white space (as
  // `icu::UnicodeString::trim` removes it). The texts "true", "yes", "on" and "1" mean true, and "false",
  // "no", "off" and "0" mean false; no other text is a boolean. A text is a number if the function of
  // `Formatter` for the type accepts the text. Numbers out of range are not errors. If an integer is out of
  // range but has no more digits than the largest number of its type, it is reduced modulo 2^32 or 2^64:
  // "4294967296" is 0 as int32 and as uint32, and "3000000000" is -1294967296 as int32. A double that is too
  // large becomes an infinity; a double that is too small becomes 0 or a number near 0.
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

  /// The checked getters accept the same texts as the getters above, but raise an error for a number out of
  /// the type's range. The result is the value, or `defaultValue` if there is no such property.
  ///   raises   ERR_PROPERTY_WRONG_TYPE (key, trimmed text, type word): the text is no such value, or the
  ///            number is out of range. The type word is the same as above.
  std::int32_t getPropertyAsCheckedInt32(const icu::UnicodeString& key, std::int32_t defaultValue) const;
  unsigned int getPropertyAsCheckedUInt32(const icu::UnicodeString& key, unsigned int defaultValue) const;
  std::int64_t getPropertyAsCheckedInt64(const icu::UnicodeString& key, std::int64_t defaultValue) const;
  std::uint64_t getPropertyAsCheckedUint64(const icu::UnicodeString& key, std::uint64_t defaultValue) const;

  /// Return the value.
  ///   raises   ERR_PROPERTY_MISSING (key): there is no such property
  ///            ERR_PROPERTY_WRONG_TYPE (key, trimmed text, type word): as above
  std::int32_t requirePropertyAsCheckedInt32(const icu::UnicodeString& key) const;
  unsigned int requirePropertyAsCheckedUInt32(const icu::UnicodeString& key) const;
  std::int64_t requirePropertyAsCheckedInt64(const icu::UnicodeString& key) const;
  std::uint64_t requirePropertyAsCheckedUint64(const icu::UnicodeString& key) const;

  /// The overloads with a pointer to the default (`const X*`) do not check the range. The result is the
  /// value, or `*defaultValue` if there is no such property. If `defaultValue` is null, the property is
  /// required. A literal 0 as the default is the number 0, not a null pointer.
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

  /// A call with a pointer to another type does not compile. Otherwise `getPropertyAsBoolean("key", "false")`
  /// would compile, and convert the pointer to true.
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

  /// Stores the value under the key. If the property exists, the new value replaces the old value, and
  /// references to the property stay valid. Key and value may be references to texts that this object stores.
  void putProperty(const icu::UnicodeString& key, const icu::UnicodeString& value);
  /// The overloads for numbers store the decimal text of the number: the digits without grouping, with "-"
  /// before them if the number is negative.
  void putPropertyAsInt32(const icu::UnicodeString& key, std::int32_t value);
  void putPropertyAsUint32(const icu::UnicodeString& key, unsigned int value);
  void putPropertyAsInt64(const icu::UnicodeString& key, std::int64_t value);
  void putPropertyAsUint64(const icu::UnicodeString& key, std::uint64_t value);
  /// Removes the property and returns the number of properties removed: 0 or 1. The key may be a
  /// reference to a key or value that this object stores.
  std::int32_t removeProperty(const icu::UnicodeString& key);
  /// Appends a name to the list of includes; `save` writes a line "#include name" for each include. `save`
  /// writes the name unchanged, so a line end inside the name ends the line. `load` treats an "#include" line
  /// as a comment and adds no include.
  void addInclude(const icu::UnicodeString& name);

  // --- iterate

  iterator begin() const KELINFRA_LIFETIMEBOUND;
  iterator end() const KELINFRA_LIFETIMEBOUND;
  /// Returns the key at `it`; `it` must not be `end()`.
  const icu::UnicodeString& get(const iterator& it) const KELINFRA_LIFETIMEBOUND;

  // --- the text format: load
  //
  // The encoding of the text is ISO-8859-1: each byte stands for the character with the same number. NUL has
  // no special meaning. White space is TAB and SPACE. Lines end with LF, CR or CR LF; the last line may end
  // at the end of the data.
  //   - A line that consists of white space is empty. If the first byte that is not white space is "#" or
  //     "!", the line is a comment.
  //   - The key ends at ":", "=", white space or the line's end. After the key, `load` skips white space,
  //     then at most one ":" or "=", then white space. The rest of the line is the value, including white
  //     space at the end of the line and any further "=".
  //   - A backslash before a line end continues the line: the backslash, the line end and the white space at
  //     the start of the next line are skipped. A backslash at the end of a line that contains nothing else
  //     except white space continues the line, too; the next line can then be a comment or an empty line. A
  //     backslash at the end of a comment does not continue the comment.
  //   - In keys and values \n, \r and \t mean LF, CR and TAB. \uXXXX, with hexadecimal digits of either case,
  //     means the character with that number. A backslash before any other byte means that byte. A backslash
  //     as the last byte of the data is ignored.
  //   - `load` reads \uXXXX as a character only if the number is neither a surrogate nor FDD0 to FDEF, FFFE
  //     or FFFF, and only if at least one more byte follows. Therefore end the data with a line end. In all
  //     other cases \u means the letter "u", and `load` reads the digits as ordinary bytes.
  // `load` accepts every sequence of bytes: it raises an error only if references cannot be resolved. If
  // several lines have the same key, the last of these lines determines the value. A property that exists
  // before the call keeps its value, unless a line has the same key. If `data` is null, the data is empty,
  // whatever the length.

  /// Reads all lines and then, if `resolveReferences` is true, resolves references.
  void load(const char* data, std::size_t length, bool resolveReferences);
  /// Reads all lines, then resolves references.
  void load(const char* data, std::size_t length);
  /// Converts the text to ISO-8859-1, reads all lines, then resolves references. A character that ISO-8859-1
  /// does not contain becomes the byte 26.
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY ("Converter::convertToBytes()"), from "kelConverter.cpp"
  void load(const icu::UnicodeString& text);
  /// Reads one line, with its continuations, from `position`. Stores the property if the line defines a
  /// property, and moves `position` to the byte after the line. If `position` is at or after the end of the
  /// data, returns false and does nothing. If the rest of the data consists of white space and continuations,
  /// the rest is a line without a property.
  bool parseLine(std::size_t& position, const char* data, std::size_t length);

  /// Replaces each reference "%name%" in every value by the value of the property with that name, and stores
  /// the result. `resolveReferences` processes the properties in key order. Before `resolveReferences`
  /// inserts the value of a property, it replaces the references in this value. The first "%" of a value and
  /// the next "%" enclose a name. After each replacement the search starts again at the beginning of the
  /// value, so an inserted "%" and the next "%" can enclose a name. A "%" without a second "%" stays. "%%"
  /// refers to the property with the empty key.
  ///
  /// References may be nested to any depth. The time of `resolveReferences` is proportional to the text that
  /// it reads and writes, including text that it replaces again later. If each line of a file refers twice to
  /// the line before it, the size of this text, and the time, are exponential in the size of the file. The
  /// time can be more than proportional to the text in one case: a value contains a single "%", and the names
  /// of many properties begin with the text after this "%". For n units of such names and values the time can
  /// be proportional to n^(4/3); ten million units that were constructed for this case took 1 s. If a value
  /// would have more than 2^31 - 1 units, `resolveReferences` raises std::bad_alloc. Load untrusted files
  /// without resolving references. Before you resolve the references of an untrusted file, limit the number
  /// and nesting of references, or reject values that contain "%".
  ///   raises   ERR_PROPERTIES_CYCLIC_REFERENCE (key): the value of the property `key` refers to that
  ///            property, directly or through other properties
  ///            ERR_PROPERTIES_BAD_REFERENCE (key, name): the value of `key` refers to a property that does
  ///            not exist
  ///            After either error, replacements that were made before the error stay, also in values that
  ///            still contain references.
  void resolveReferences();

  // --- the text format: save

  /// Writes lines that end with CR LF. The first line is "#saved by ExtendedProperties on ", without a date.
  /// The next lines are a line "#include name" for each include, and then a line "key=value" for each
  /// property in key order. At the end `save` flushes the stream.
  ///
  /// In keys and values CR, LF, TAB, "!", "#", ":", "=" and backslash are escaped; in keys SPACE is escaped
  /// too. On all lines `save` writes characters above 127 as \uXXXX. In the following cases `load` does not
  /// restore what was saved:
  ///   - `save` writes a character above U+FFFF as two equal escapes of the low 16 bits of its number. `load`
  ///     reads U+10041 back as "AA", and U+10025 as "%%", which `load` then resolves as a reference.
  ///   - `save` writes an unpaired surrogate, U+FDD0 to U+FDEF, U+FFFE and U+FFFF as escapes that `load` does
  ///     not read as characters. `load` reads U+D800 back as "uD800".
  ///   - Leading SPACEs of a value are lost.
  ///   - `load` can take a "%" as part of a reference, unless the program calls `load` without resolving
  ///     references.
  ///   - `load` reads bogus keys and values back as empty texts. Includes are lost, because `load` reads them
  ///     as comments.
  /// In these cases `load` can read two different keys back as the same key; the property that is later in
  /// key order then replaces the other property. So a key from an untrusted source can overwrite another
  /// property: reject keys that contain one of the characters above. `roundTrips` finds properties that
  /// `load` does not restore; `escapeText` makes it possible to store any text.
  ///   raises   any error of the stream; the bytes before the error stay written
  void save(oss::OutputStream& out) const;

  /// Returns true if `load` restores exactly the property that `save` wrote. If the result is true for each
  /// property of an object, `load` restores exactly the properties of the object. If `resolveReferences` is
  /// true, the result holds for a `load` that resolves references: a value with two or more "%" is then not
  /// restored.
  static bool roundTrips(const icu::UnicodeString& key, const icu::UnicodeString& value,
                         bool resolveReferences);
  /// Returns the same as `roundTrips(key, value, true)`: the result for a `load` that resolves references.
  static bool roundTrips(const icu::UnicodeString& key, const icu::UnicodeString& value);

  /// Returns an escaped form of `text`, which `save` and `load` restore as a key and as a value.
  /// `unescapeText` returns `text` from its escaped form, whatever code units `text` contains. A code unit is
  /// escaped as "~" and its four hexadecimal digits if it is a SPACE at the start of the text, "%", "~", a
  /// surrogate (paired or not), U+FDD0 to U+FDEF, U+FFFE or U+FFFF. All other units stay as they are. A bogus
  /// text is an empty text.
  ///
  ///     const icu::UnicodeString stored = ExtendedProperties::escapeText(u"90 % of ~x");
  ///     stored;                                                        // -> "90 ~0025 of ~007Ex"
  ///     icu::UnicodeString text;
  ///     const bool done = ExtendedProperties::unescapeText(stored, text);   // text -> "90 % of ~x"
  static icu::UnicodeString escapeText(const icu::UnicodeString& text);
  /// Replaces each "~XXXX" in `escaped` by the code unit with the number XXXX, and stores the result in
  /// `text`. `text` may be the same object as `escaped`. The digits may be upper-case or lower-case. Returns
  /// false and does not change `text` if a "~" is not followed by four hexadecimal digits.
  static bool unescapeText(const icu::UnicodeString& escaped, icu::UnicodeString& text);

  /// Writes a list for people to read: the line "-- listing properties --" and a line "key=value" for each
  /// property in key order. `list` escapes nothing, writes the text in ICU's default code page, and flushes
  /// the stream after each line.
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
