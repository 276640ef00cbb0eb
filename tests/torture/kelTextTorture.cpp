#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelDefaultAlternateBuffer.hpp"
#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelPrintStream.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelStrictConverter.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelBase64Exception.hpp"

#include "oss/kelFormatSettings.hpp"
#include "support/kelRows.hpp"
#include "torture/kelFaultRun.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace tarvo::test {
namespace {

using oss::BuildVersion;
using oss::ByteBuffer;
using oss::Converter;
using oss::DataBuffer;
using oss::Formatter;
using oss::NLSException;
using oss::SizeableBuffer;
using oss::StrictConverter;
using oss::StringTokenizer;
using oss::UTF8Iterator;
using oss::UTF8String;
using util::Base64;
using util::Base64Exception;

std::string longBytes() {
  return std::string(5000, 'x');
}
icu::UnicodeString longText() {
  return {5000, u'x', 5000};
}

/// A string that refers to its text, so that every copy allocates.
icu::UnicodeString referring() {
  return {true, u"more than the 27 units that ICU keeps in a string itself", -1};
}

std::string contents(const DataBuffer& buffer) {
  EXPECT_EQ(std::string(buffer.getString()).size(), static_cast<std::size_t>(buffer.length()));
  return buffer.getString();
}

std::string contents(const ByteBuffer& buffer) {
  return buffer.get() == nullptr ? "" : std::string(buffer.get(), buffer.length());
}

TEST(MemoryTorture, DefaultAlternateBufferSurvivesEachRefusedAllocation) {
  sweepMemory("DefaultAlternateBuffer", [](FaultRun& run) {
    oss::DefaultAlternateBuffer<char> buffer;
    for (const unsigned long long need : rowsOf({10ULL, 1000ULL, 100'000ULL})) {
      const bool done = run.completes([&] { buffer.resize(need); });
      EXPECT_EQ(buffer.usedSize(), done ? need : 0);
      EXPECT_EQ(buffer.data() != nullptr, done);
      EXPECT_EQ(buffer.capacity() >= need, done);
    }
    buffer.resize(20);
    EXPECT_EQ(buffer.usedSize(), 20U);
  });
}

TEST(MemoryTorture, SizeableBufferSurvivesEachRefusedAllocation) {
  sweepMemory("SizeableBuffer", [](FaultRun& run) {
    SizeableBuffer<char, 16> buffer;
    for (const unsigned long long need : rowsOf({17ULL, 1000ULL})) {
      const bool done = run.completes([&] { buffer.resize(need); });
      EXPECT_EQ(buffer.size(), done ? need : 0);
      EXPECT_EQ(buffer.data() != nullptr, done);
    }
    buffer.resize(40);
    EXPECT_EQ(buffer.size(), 40U);
  });
}

TEST(MemoryTorture, BuildingAByteBufferSurvivesEachRefusedAllocation) {
  sweepMemory("ByteBuffer: building", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const icu::UnicodeString text = longText();
    const ByteBuffer other(bytes.data(), bytes.size());
    std::optional<ByteBuffer> built;
    if (run.completes([&] { built.emplace(100); })) {
      EXPECT_EQ(built->capacity(), 128U);
    }
    if (run.completes([&] { built.emplace(bytes.data(), bytes.size()); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(text, "ISO-8859-1"); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(text, nullptr); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(other); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
  });
}

TEST(MemoryTorture, ChangingAByteBufferSurvivesEachRefusedAllocation) {
  sweepMemory("ByteBuffer: changes", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const ByteBuffer other(bytes.data(), bytes.size());
    ByteBuffer buffer("abc", 3);
    const bool appended = run.completes([&] { buffer.append(bytes.data(), bytes.size()); });
    EXPECT_EQ(contents(buffer), appended ? "abc" + bytes : "abc");
    ByteBuffer set("abc", 3);
    const bool wasSet = run.completes([&] { set.set(bytes.data(), bytes.size()); });
    EXPECT_EQ(contents(set), wasSet ? bytes : "");
    ByteBuffer assigned("abc", 3);
    const bool wasAssigned = run.completes([&] { assigned = other; });
    EXPECT_EQ(contents(assigned), wasAssigned ? bytes : "");
    const bool cleared = run.completes([&] { set.clear(); });
    EXPECT_EQ(set.length(), 0U);
    EXPECT_TRUE(cleared || set.get() == nullptr);
    for (ByteBuffer* usable : rowsOf({&buffer, &set, &assigned})) {
      usable->set("ok", 2);
      EXPECT_EQ(contents(*usable), "ok");
    }
  });
}

TEST(MemoryTorture, BuildingADataBufferSurvivesEachRefusedAllocation) {
  sweepMemory("DataBuffer: building", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const icu::UnicodeString text = longText();
    const DataBuffer other(bytes.c_str());
    std::optional<DataBuffer> built;
    if (run.completes([&] { built.emplace(5000); })) {
      EXPECT_EQ(built->capacity(), 5000);
    }
    if (run.completes([&] { built.emplace(bytes.c_str()); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(text, "ISO-8859-1"); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(text); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(other); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
  });
}

// A text is silently not added if its allocation fails. If the allocation for opening a code page fails, the
// error is reported.
TEST(MemoryTorture, GrowingADataBufferSurvivesEachRefusedAllocation) {
  sweepMemory("DataBuffer: growing", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const icu::UnicodeString text = longText();
    const DataBuffer other(bytes.c_str());
    const auto changes = {
        std::function<void(DataBuffer&)>([&](DataBuffer& b) { b.appendString(bytes.c_str()); }),
        std::function<void(DataBuffer&)>([&](DataBuffer& b) { b.appendString(bytes.data(), 5000); }),
        std::function<void(DataBuffer&)>([&](DataBuffer& b) { b.appendString(text, "ISO-8859-1"); }),
        std::function<void(DataBuffer&)>([&](DataBuffer& b) { b.appendString(text, nullptr); }),
        std::function<void(DataBuffer&)>([&](DataBuffer& b) { b.appendString(other); }),
        std::function<void(DataBuffer&)>([&](DataBuffer& b) { b.insertString(3, text, "windows-1252"); }),
    };
    // The rows have no names, because the text of a row that an exception ends is allocated.
    for (const auto& change : changes) {
      DataBuffer buffer("abc");
      const bool completed = run.completes([&] { change(buffer); });
      const bool added = buffer.length() > 3;
      EXPECT_TRUE(added ? completed : run.struckLast() || FaultRun::icuIsLost());
      EXPECT_EQ(contents(buffer), added ? "abc" + bytes : "abc");
      change(buffer);
      EXPECT_EQ(contents(buffer).size(), added ? 10'003U : 5003U);
    }
    DataBuffer buffer(bytes.c_str());
    buffer.appendString(std::string(4000, 'y').c_str());
    EXPECT_TRUE(run.completes([&] { buffer.appendBinary(bytes.data(), 5000, true); }));
    EXPECT_TRUE(buffer.length() == 19'003 || (run.struckLast() && buffer.length() == 9000));
    DataBuffer own(bytes.c_str());
    EXPECT_TRUE(run.completes([&] { own.insertString(5, own); }));
    EXPECT_TRUE(contents(own).size() == 10'000 || (run.struckLast() && contents(own).size() == 5000));
    DataBuffer odd("abc");
    run.raises(
        [&] { odd.appendString(text, "UTF-16"); },
        Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-16", "UTF-16").from("kelDataBuffer.cpp"));
    run.raises([&] { odd.decodeBinary(nullptr, 0); },
               Raises<NLSException>("ERR_DB_INVALID_BINARY_DATA").from("kelDataBuffer.cpp"));
    EXPECT_EQ(contents(odd), "abc");
  });
}

TEST(MemoryTorture, UTF8StringSurvivesEachRefusedAllocation) {
  sweepMemory("UTF8String", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const icu::UnicodeString text = longText();
    const UTF8String other(bytes.c_str());
    const UTF8String ofTwoBytesEach(icu::UnicodeString(1000, U'\u00E9', 1000));
    std::optional<UTF8String> built;
    if (run.completes([&] { built.emplace(bytes.c_str()); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(text); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(other); })) {
      EXPECT_EQ(contents(*built), bytes);
    }
    if (run.completes([&] { built.emplace(5000); })) {
      EXPECT_EQ(contents(*built), "");
    }

    UTF8String assigned("abc");
    if (!run.completes([&] { assigned = text; }) || run.struckLast()) {
      EXPECT_TRUE(contents(assigned).empty() || contents(assigned) == bytes);
    } else {
      EXPECT_EQ(contents(assigned), bytes);
    }
    for (const bool own : rowsOf({false, true})) {
      const std::string before = "abc" + bytes;
      UTF8String string(before.c_str());
      if (!run.completes([&] { string = own ? string.getString() + 3 : bytes.c_str(); })) {
        EXPECT_EQ(contents(string), before) << (own ? "own bytes" : "other bytes");
      } else if (run.struckLast()) {
        EXPECT_TRUE(contents(string).empty() || contents(string) == bytes)
            << (own ? "own bytes" : "other bytes");
      } else {
        EXPECT_EQ(contents(string), bytes) << (own ? "own bytes" : "other bytes");
      }
    }
    UTF8String inserted("abc");
    if (!run.completes([&] { inserted.insertString(3, text); }) || run.struckLast()) {
      EXPECT_TRUE(contents(inserted) == "abc" || contents(inserted) == "abc" + bytes);
    } else {
      EXPECT_EQ(contents(inserted), "abc" + bytes);
    }

    icu::UnicodeString out(u"what was there before, longer than the 27 units");
    const icu::UnicodeString before(out);
    if (run.completes([&] { other.getString(out); })) {
      EXPECT_EQ(utf8(out), utf8(before) + bytes);
    } else {
      EXPECT_EQ(utf8(out), utf8(before));
    }
    // A string with enough capacity that it shares with another: if ICU cannot separate them, the string is
    // bogus.
    const auto appendToShared = [&](const UTF8String& more, std::int32_t room) {
      icu::UnicodeString roomy(room, 0, 0);
      roomy.append(before);
      const icu::UnicodeString shared(roomy);
      const bool complete = run.completes([&] { more.getString(roomy); });
      if (complete) {
        EXPECT_EQ(utf8(roomy), utf8(before) + contents(more));
      }
      EXPECT_EQ(utf8(shared), utf8(before));
      return complete || roomy.isBogus();
    };
    EXPECT_TRUE(appendToShared(other, 6000));
    // Capacity for the code units only, which are fewer than the bytes: the library converts elsewhere first.
    static_cast<void>(appendToShared(ofTwoBytesEach, before.length() + 1000));
    std::string target(6000, '\0');
    int size = 0;
    if (run.completes([&] { size = other.getString(target.data(), 6000, "ISO-8859-1"); })) {
      EXPECT_EQ(target.substr(0, static_cast<std::size_t>(size) - 1), bytes);
    }
    const UTF8String malformed("\x80");
    run.raises([&] { malformed.numChars(); },
               Raises<NLSException>("ERR_MALFORMED_UTF8_STRING").from("kelUTF8String.cpp"));
  });
}

// If the allocation of its copy fails, an iterator holds no text and reports that; it never holds the empty
// text instead.
TEST(MemoryTorture, UTF8IteratorSurvivesEachRefusedAllocation) {
  sweepMemory("UTF8Iterator", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const icu::UnicodeString text = longText();
    const UTF8String string(bytes.c_str());
    alignas(UTF8Iterator) static unsigned char place[sizeof(UTF8Iterator)];
    const auto builtFrom = [&](const auto& source) {
      UTF8Iterator* iterator = nullptr;
      if (!run.completes([&] { iterator = new (place) UTF8Iterator(source); })) return;
      EXPECT_TRUE(!iterator->isEmpty() || run.struckLast());
      if (!iterator->isEmpty()) {
        EXPECT_EQ(iterator->getString(), bytes);
      }
      if (iterator->isEmpty()) {
        EXPECT_TRUE(iterator->takeText("usable"));
      }
      EXPECT_TRUE(iterator->hasMoreChars());
      iterator->~UTF8Iterator();
    };
    builtFrom(bytes.c_str());
    builtFrom(text);
    builtFrom(string);
    const std::string malformed = bytes + "\xED\xA0\x80";
    bool refused = false;
    bool empty = false;
    const auto build = [&] {
      try {
        empty = UTF8Iterator(malformed.c_str()).isEmpty();
      } catch (const NLSException&) {
        refused = true;
      }
    };
    if (run.completes(build)) {
      EXPECT_EQ(refused, !run.struckLast());
      EXPECT_EQ(empty, run.struckLast());
    }
  });
}

TEST(MemoryTorture, StringTokenizerSurvivesEachRefusedAllocation) {
  sweepMemory("StringTokenizer", [](FaultRun& run) {
    const std::string bytes = "one " + longBytes() + " three";
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(bytes);
    const icu::UnicodeString alias(false, text.getBuffer(), text.length());
    std::unique_ptr<StringTokenizer> built;
    if (run.completes(
            [&] { built = std::make_unique<StringTokenizer>(bytes.c_str(), "ISO-8859-1", nullptr); })) {
      EXPECT_EQ(built->countTokens(), 3);
    }
    if (run.completes([&] { built = std::make_unique<StringTokenizer>(bytes.c_str(), nullptr, " \n"); })) {
      EXPECT_EQ(built->countTokens(), 3);
    }
    if (run.completes([&] { built = std::make_unique<StringTokenizer>(alias, nullptr); })) {
      EXPECT_EQ(built->countTokens(), 3);
    }

    StringTokenizer words(bytes.c_str(), "windows-1252", nullptr);
    const char* token = nullptr;
    const auto next = [&] { token = words.getNextToken(); };
    if (!run.completes(next)) next();
    EXPECT_STREQ(token, "one");
    if (!run.completes(next)) next();
    EXPECT_EQ(token, longBytes());
    icu::UnicodeString unicode;
    if (!run.completes([&] { unicode = words.getFirstTokenString(); })) unicode = words.getFirstTokenString();
    EXPECT_EQ(utf8(unicode), "one");
    if (!run.completes([&] { unicode = words.getNextTokenString(); })) unicode = words.getNextTokenString();
    EXPECT_EQ(utf8(unicode), longBytes());
    EXPECT_TRUE(words.hasMoreTokens());
    if (!run.completes([&] { token = words.getFirstToken(); })) token = words.getFirstToken();
    EXPECT_STREQ(token, "one");
  });
}

const auto noMemoryToConvert =
    Raises<NLSException>("QN_ERR_OUT_OF_MEMORY", "Converter::convertToBytes()").from("kelConverter.cpp");

TEST(MemoryTorture, ConverterSurvivesEachRefusedAllocation) {
  sweepMemory("Converter", [](FaultRun& run) {
    const std::string bytes = longBytes();
    const icu::UnicodeString text = longText();
    std::string target(6000, '\0');
    const auto expectConverted = [&](auto convert) {
      int size = 0;
      if (!run.completes([&] { size = convert(); })) size = convert();
      EXPECT_EQ(size, 5001);
    };
    const int length = static_cast<int>(bytes.size());
    expectConverted(
        [&] { return Converter::convert(target.data(), 6000, "ISO-8859-1", bytes.c_str(), "UTF-8"); });
    expectConverted([&] {
      return Converter::convert(target.data(), 6000, "UTF-8", bytes.data(), length, "windows-1252");
    });
    expectConverted(
        [&] { return Converter::convert(target.data(), 6000, nullptr, bytes.c_str(), "IBM-850"); });
    expectConverted([&] { return Converter::convert(nullptr, 0, "Shift_JIS", bytes.c_str(), nullptr); });
    expectConverted([&] { return Converter::convert(target.data(), 6000, "EUC-JP", text); });
    run.raises([&] { Converter::convert(target.data(), 100, "UTF-8", text); },
               Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", 100).from("kelConverter.cpp"));
    run.raises(
        [&] { Converter::convert(target.data(), 6000, "no such code page at all", text); },
        Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "no such code page at all", ucnv_getDefaultName())
            .from("kelConverter.cpp"));
  });
}

TEST(MemoryTorture, ConvertingStrictlySurvivesEachRefusedAllocation) {
  sweepMemory("StrictConverter", [](FaultRun& run) {
    const std::string bytes = longBytes() + "\x80" + longBytes();
    for (const char* const from : rowsOf({"UTF-8", "Shift_JIS", "ISO-2022-JP"})) {
      std::optional<StrictConverter> stream;
      if (!run.completes([&] { stream.emplace(from, "ISO-2022-JP"); })) continue;
      std::string room(20000, '\0');
      const char* source = bytes.data();
      char* target = room.data();
      auto status = StrictConverter::OUTPUT_FULL;
      const auto next = [&] {
        status = stream->convert(source, bytes.data() + bytes.size(), target, target + 10000, true);
      };
      EXPECT_TRUE(run.completes(next));
      EXPECT_EQ(status, StrictConverter::FAULT);
      EXPECT_EQ(stream->fault().offset, 5000U);
      EXPECT_TRUE(run.completes(next));
      EXPECT_EQ(status, StrictConverter::INPUT_EMPTY);
      EXPECT_EQ(std::string(room.data(), target), longBytes() + longBytes());
    }
    run.raises([] { StrictConverter("no such code page at all", "UTF-8"); },
               Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-8", "no such code page at all")
                   .from("kelStrictConverter.cpp"));
  });
}

TEST(MemoryTorture, AppendingStrictlyToATextSurvivesEachRefusedAllocation) {
  sweepMemory("StrictConverter: Unicode", [](FaultRun& run) {
    const std::string bytes = longBytes();
    std::optional<StrictConverter> stream;
    if (!run.completes([&] { stream.emplace("UTF-8", StrictConverter::unicode()); })) return;
    icu::UnicodeString text;
    const char* source = bytes.data();
    auto status = StrictConverter::OUTPUT_FULL;
    const auto append = [&] { status = stream->convert(source, bytes.data() + bytes.size(), text, true); };
    if (run.completes(append)) {
      EXPECT_EQ(status, StrictConverter::INPUT_EMPTY);
      EXPECT_EQ(text, longText());
    } else {
      EXPECT_TRUE(text.isBogus());
    }
  });
}

TEST(MemoryTorture, ConvertingToBytesSurvivesEachRefusedAllocation) {
  sweepMemory("Converter::convertToBytes", [](FaultRun& run) {
    const icu::UnicodeString text = longText();
    SizeableBuffer<char, 512> bytes;
    std::size_t size = 0;
    const auto convert = [&] { size = Converter::convertToBytes(text, "ISO8859_1", bytes); };
    if (!run.completes(convert, noMemoryToConvert, FaultRun::Saying::always)) {
      SizeableBuffer<char, 512> again;
      size = Converter::convertToBytes(text, "ISO8859_1", again);
      EXPECT_EQ(std::string(again.data(), size), longBytes());
    } else {
      EXPECT_EQ(std::string(bytes.data(), size), longBytes());
    }
  });
}

TEST(MemoryTorture, FormatterSurvivesEachRefusedAllocation) {
  sweepMemory("Formatter", [](FaultRun& run) {
    icu::UnicodeString out = referring();
    EXPECT_TRUE(run.completes([&] { Formatter::int64ToString(out, -1234567890123456789); }));
    EXPECT_EQ(utf8(out), "-1234567890123456789");
    std::int64_t value = 0;
    EXPECT_TRUE(run.completes([&] { value = Formatter::stringToInt64(out); }));
    EXPECT_EQ(value, -1234567890123456789);
    const std::string digits = "0." + std::string(1000, '5');
    const icu::UnicodeString number = icu::UnicodeString::fromUTF8(digits);
    double fraction = 0;
    if (!run.completes([&] { fraction = Formatter::stringToDouble(number); }))
      fraction = Formatter::stringToDouble(number);
    EXPECT_DOUBLE_EQ(fraction, 5.0 / 9);
    const std::string spaced = "\xE2\x80\x83" + digits + " ";
    fraction = 0;
    if (!run.completes([&] { fraction = Formatter::stringToDouble(spaced.c_str()); }))
      fraction = Formatter::stringToDouble(spaced.c_str());
    EXPECT_DOUBLE_EQ(fraction, 5.0 / 9);
    const std::string words = utf8(referring());
    run.raises([&] { Formatter::stringToInt32(referring()); },
               Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "int32_t", words).from("kelFormatter.cpp"));
    run.raises([&] { Formatter::stringToDouble(words.c_str()); },
               Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "double", words).from("kelFormatter.cpp"));
    run.raises([&] { Formatter::stringToDouble(static_cast<const char*>(nullptr)); },
               Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "double", "NULL").from("kelFormatter.cpp"));
  });
}

/// Lets ICU's functions that make formats allocate without failure: this version of ICU writes through null
/// pointers otherwise. The destructor resets the library's settings.
class FormatsGranted {
 public:
  FormatsGranted() {
    oss::formatFactories = {
        [](const icu::Locale& locale) { return granted(own.number, locale); },
        [](const icu::Locale& locale) { return granted(own.date, locale); },
        [](const icu::Locale& locale) { return granted(own.time, locale); },
        [](const icu::Locale& locale) { return granted(own.dateAndTime, locale); },
    };
  }
  FormatsGranted(const FormatsGranted&) = delete;
  FormatsGranted& operator=(const FormatsGranted&) = delete;
  ~FormatsGranted() {
    oss::formatFactories = own;
    oss::formatSettings() = oss::FormatSettings();
  }

 private:
  template <class Format>
  static Format* granted(Format* (*make)(const icu::Locale&), const icu::Locale& locale) {
    const AllocationsGranted all;
    return make(locale);
  }

  static inline const oss::FormatFactories own = oss::formatFactories;
};

TEST(MemoryTorture, ChangingFormatterSettingsSurvivesEachRefusedAllocation) {
  sweepMemory("Formatter::setSettings", [](FaultRun& run) {
    const FormatsGranted formats;
    const auto noMemory =
        Raises<NLSException>("ERR_OUT_OF_MEMORY", "Formatter::setSettings()").from("kelFormatter.cpp");
    icu::Locale::getDefault();  // ICU sets it once for the whole process, too
    std::string code;
    if (run.completes([&] { code = Formatter::localeCode(); })) {
      EXPECT_EQ(code.size(), 4U);
    }
    if (run.completes([] { Formatter::setSettings(); }, noMemory, FaultRun::Saying::inPart)) {
      EXPECT_NE(oss::formatSettings().number, nullptr);
      EXPECT_NE(oss::formatSettings().dateAndTime, nullptr);
    } else {
      EXPECT_EQ(oss::formatSettings().number, nullptr);
    }
    oss::formatFactories.date = [](const icu::Locale&) -> icu::DateFormat* { return nullptr; };
    run.raises([] { Formatter::setSettings(); }, noMemory);
    icu::UnicodeString literal;
    EXPECT_TRUE(run.completes([&] { Formatter::int64ToHexLiteral(literal, 31, true); }));
    EXPECT_EQ(utf8(literal), "X'1F'");
    const char* name = nullptr;
    EXPECT_TRUE(run.completes([&] { name = Formatter::consoleCodePageName(); }));
    EXPECT_STREQ(name, "windows-437");
  });
}

TEST(MemoryTorture, Base64SurvivesEachRefusedAllocation) {
  sweepMemory("Base64", [](FaultRun& run) {
    const std::string bytes = longBytes();
    std::vector<unsigned short> units(Base64::encodeSize(bytes.size()) + 1);
    std::size_t count = 0;
    EXPECT_TRUE(run.completes(
        [&] { count = Base64::encode(units.data(), units.size(), bytes.data(), bytes.size()); }));
    std::string decoded(bytes.size(), '\0');
    EXPECT_TRUE(run.completes([&] { Base64::decode(decoded.data(), decoded.size(), units.data(), count); }));
    EXPECT_EQ(decoded, bytes);
    const char* const file = "src/infra/oss/../util/kelBase64.cpp";
    run.raises([&] { Base64::encode(units.data(), 1, bytes.data(), bytes.size()); },
               Raises<Base64Exception>("ERR_BUFFER_SIZE_TOO_SMALL", 1).from(file));
    const std::string words = "thirtyonelettersofthealphabetnot";
    std::vector<unsigned short> misaligned(words.begin(), words.end() - 1);
    misaligned.push_back(0);
    run.raises([&] { Base64::decode(decoded.data(), decoded.size(), misaligned.data(), 31); },
               Raises<Base64Exception>("ERR_BASE64_MISALIGNED_DATA", words.substr(0, 31)).from(file));
    misaligned[0] = '!';
    run.raises([&] { Base64::decodeSafe(decoded.data(), decoded.size(), misaligned.data(), 31); },
               Raises<Base64Exception>("ERR_BASE64_INVALID_DATA", "!").from(file));
  });
}

TEST(MemoryTorture, WritingToStreamsSurvivesEachRefusedAllocation) {
  sweepMemory("OutputStream family", [](FaultRun& run) {
    char bytes[3] = {};
    oss::ByteArrayOutputStream stream(bytes, sizeof bytes);
    run.raises([&] { static_cast<oss::OutputStream&>(stream).write("abcd"); },
               Raises<oss::IOException>("ERR_BUFFER_SIZE_TOO_SMALL", 3).from("kelByteArrayOutputStream.cpp"));
    EXPECT_EQ(std::string(bytes, 3), "abc");
    char printed[100] = {};
    struct Buffer : std::streambuf {
      Buffer(char* begin, char* end) { setp(begin, end); }
    } buffer(printed, printed + sizeof printed);
    std::streambuf* const former = std::cerr.rdbuf(&buffer);
    EXPECT_TRUE(run.completes([&] { oss::ossOut << "n=" << -1 << ' ' << 1.5 << '\n'; }));
    std::cerr.rdbuf(former);
    EXPECT_STREQ(printed, "n=-1 1.5\n");
  });
}

TEST(MemoryTorture, BuildVersionSurvivesEachRefusedAllocation) {
  sweepMemory("BuildVersion", [](FaultRun& run) {
    const icu::UnicodeString text(true, u"12345678901234567890.1234567890-12345678901234567890.12345678-3",
                                  -1);
    std::optional<BuildVersion> built;
    if (run.completes([&] { built.emplace(); })) {
      EXPECT_EQ(utf8(built->getProductVersion()), "5.2.1.0");
    }
    if (run.completes([&] { built.emplace(text); })) {
      EXPECT_EQ(utf8(built->getBuildVersion()), utf8(text));
      EXPECT_EQ(utf8(built->getProductVersion()), "12345678901234567890.1234567890");
      EXPECT_EQ(utf8(built->getProtocolVersion()), "12345678901234567890.12345678");
      EXPECT_EQ(utf8(built->getBuildNumberString()), "3");
    }
    BuildVersion whole(text);
    std::optional<BuildVersion> copy;
    if (run.completes([&] { copy.emplace(whole); })) {
      EXPECT_EQ(utf8(copy->getProductVersion()), "12345678901234567890.1234567890");
    }
    BuildVersion assigned;
    if (run.completes([&] { assigned = whole; })) {
      EXPECT_EQ(utf8(assigned.getProductVersion()), "12345678901234567890.1234567890");
    }
  });
}

}  // namespace
}  // namespace tarvo::test
