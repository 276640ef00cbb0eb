#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/util/kelBase64Exception.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "oss/kelRaise.hpp"
#include "support/kelAllocationsSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <cstdint>
#include <new>
#include <string>

namespace tarvo::test {
namespace {

using icu::UnicodeString;
using oss::Identifier;
using oss::IOException;
using oss::makeError;
using oss::MessageList;
using oss::NarrowArgument;
using oss::NLSException;
using oss::raise;
using oss::SocketException;
using oss::SourcePlace;
using testing::ElementsAre;

// --- the file name that is recorded
// -------------------------------------------------------------------------

struct RecordedName {
  std::string path;
  std::string name;
};

constexpr const char* propertiesName = "src/infra/oss/../util/kelExtendedProperties.cpp";
constexpr const char* base64Name = "src/infra/oss/../util/kelBase64.cpp";

const RecordedName recordedNames[] = {
    {"src/infra/oss/kelSocket.cpp", "kelSocket.cpp"},
    {"kelSocket.cpp", "kelSocket.cpp"},
    {"./kelSocket.cpp", "kelSocket.cpp"},
    {"../src/infra/oss/kelMessageList.cpp", "kelMessageList.cpp"},
    {"/home/builder/kelinfra/src/infra/oss/kelDataBuffer.cpp", "kelDataBuffer.cpp"},
    {"C:\\build\\kelinfra\\src\\infra\\oss\\kelSocket.cpp", "kelSocket.cpp"},
    {"C:/build/src/infra\\oss\\kelSocket.cpp", "kelSocket.cpp"},
    {"C:\\build\\src/infra/oss/kelSocket.cpp", "kelSocket.cpp"},
    {"src\\infra\\oss\\kelSocket.cpp", "kelSocket.cpp"},
    {"include/infra/oss/kelConverter.hpp", "kelConverter.hpp"},
    {"/usr/include/infra/oss/kelConverter.hpp", "kelConverter.hpp"},
    // A parent folder with the same name makes no difference.
    {"/home/util/kelinfra/src/infra/oss/kelSocket.cpp", "kelSocket.cpp"},
    {"/src/infra/util/kelinfra/src/infra/oss/kelSocket.cpp", "kelSocket.cpp"},
    // Two sources are recorded with a longer name.
    {"src/infra/util/kelExtendedProperties.cpp", propertiesName},
    {"src/infra/util/kelBase64.cpp", base64Name},
    {"/home/builder/kelinfra/src/infra/util/kelExtendedProperties.cpp", propertiesName},
    {"/home/builder/kelinfra/src/infra/util/kelBase64.cpp", base64Name},
    {"../src/infra/util/kelBase64.cpp", base64Name},
    {"src/infra/oss/../util/kelBase64.cpp", base64Name},
    {"C:\\build\\src\\infra\\util\\kelExtendedProperties.cpp", propertiesName},
    {"C:\\build\\src\\infra\\util\\kelBase64.cpp", base64Name},
    {"src\\infra/util\\kelBase64.cpp", base64Name},
};

TEST(SourcePlace, RecordsTheDocumentedFileName) {
  for (const RecordedName& row : rowsOf(recordedNames))
    EXPECT_EQ((SourcePlace{row.path.c_str(), 1}.recordedName()), row.name) << row.path;
}

TEST(SourcePlace, IsTheLineOfTheCaller) {
  const SourcePlace here = SourcePlace::here();
  EXPECT_EQ(here.line, __LINE__ - 1U);
  EXPECT_EQ(here.recordedName(), "kelRaiseSeamTest.cpp");
}

TEST(Raise, RecordsTheNameOfTheSourceThatRaises) {
  for (const RecordedName& row : rowsOf(recordedNames)) {
    const Identifier identifier("ERR_A", SourcePlace{row.path.c_str(), 77});
    EXPECT_THAT([&] { raise<NLSException>(identifier); }, Raises<NLSException>("ERR_A").from(row.name));
  }
}

unsigned int lineOf(void (*raises)()) {
  try {
    raises();
  } catch (const oss::BaseException& error) {
    return error.getErrorMessage().getLineNumber();
  }
  return 0;
}

TEST(Raise, RecordsTheLineOfTheStatement) {
  const unsigned int first = lineOf([] { raise<NLSException>("ERR_A"); });
  EXPECT_EQ(first, __LINE__ - 1U);
  const unsigned int second = lineOf([] { raise<NLSException>("ERR_A", 1, u"b"); });
  EXPECT_EQ(second, __LINE__ - 1U);
  const unsigned int made = lineOf([] { throw makeError<NLSException>("ERR_A"); });
  EXPECT_EQ(made, __LINE__ - 1U);
}

// --- the class
// ----------------------------------------------------------------------------------------------

TEST(Raise, ThrowsTheGivenClass) {
  constexpr const char* file = "kelRaiseSeamTest.cpp";
  EXPECT_THAT([] { raise<oss::BaseException>("ERR_A"); }, Raises<oss::BaseException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<NLSException>("ERR_A"); }, Raises<NLSException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<IOException>("ERR_A"); }, Raises<IOException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<SocketException>("ERR_A"); }, Raises<SocketException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<util::PropertiesException>("ERR_A"); },
              Raises<util::PropertiesException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<util::Base64Exception>("ERR_A"); },
              Raises<util::Base64Exception>("ERR_A").from(file));
}

TEST(Raise, CanCreateTheErrorWithoutThrowingIt) {
  NLSException error = makeError<NLSException>("ERR_A", 1);
  EXPECT_EQ(error.getMessages().count(), 1);
  EXPECT_THAT(argumentsOf(error.getErrorMessage()), ElementsAre("1"));
}

// --- the arguments
// ------------------------------------------------------------------------------------------

TEST(Raise, AddsItsArgumentsInOrder) {
  const UnicodeString host(u"h\u00F6st");
  EXPECT_THAT(
      [&] {
        raise<SocketException>("ERR_A", 1, host, u"text", NarrowArgument{"narrow", ""}, 5U);
      },
      Raises<SocketException>("ERR_A", 1, host, "text", "narrow", 5).from("kelRaiseSeamTest.cpp"));
  EXPECT_THAT(
      [&] {
        raise<SocketException>("ERR_A", 5U, NarrowArgument{"narrow", ""}, u"text", host, 1);
      },
      Raises<SocketException>("ERR_A", 5, "narrow", "text", host, 1).from("kelRaiseSeamTest.cpp"));
}

TEST(Raise, AddsNumbersAsTheirLow32Bits) {
  const auto raised = Raises<NLSException>("ERR_A", -1, 705032704, "-2147483648", 255, -5, 65535, 0)
                          .from("kelRaiseSeamTest.cpp");
  EXPECT_THAT(
      [] {
        raise<NLSException>("ERR_A", 4294967295U, std::uint64_t{5000000000ULL}, 2147483648U,
                            static_cast<unsigned char>(255), static_cast<short>(-5),
                            static_cast<unsigned short>(65535), std::size_t{0});
      },
      raised);
}

TEST(Raise, AddsNarrowTextInTheGivenCodePage) {
  EXPECT_THAT(
      [] {
        raise<NLSException>("ERR_A", NarrowArgument{"\xE4", "ISO-8859-1"},
                            NarrowArgument{"\xC3\xA4", "UTF-8"});
      },
      Raises<NLSException>("ERR_A", "\u00E4", "\u00E4").from("kelRaiseSeamTest.cpp"));
}

TEST(Raise, AddsNarrowTextInTheDefaultCodePage) {
  constexpr const char* bytes = "\xC3\xA4";
  EXPECT_THAT(
      [] {
        raise<NLSException>("ERR_A", NarrowArgument{bytes, nullptr});
      },
      Raises<NLSException>("ERR_A", UnicodeString(bytes, ucnv_getDefaultName()))
          .from("kelRaiseSeamTest.cpp"));
}

TEST(Raise, AddsAnEmptyTextButIgnoresAnEmptyNarrowText) {
  EXPECT_THAT([] { raise<NLSException>("ERR_A", UnicodeString(), 1); },
              Raises<NLSException>("ERR_A", "", 1).from("kelRaiseSeamTest.cpp"));
  EXPECT_THAT(
      [] {
        raise<NLSException>("ERR_A", NarrowArgument{"", ""}, 1);
      },
      Raises<NLSException>("ERR_A", 1).from("kelRaiseSeamTest.cpp"));
  EXPECT_THAT(
      [] {
        raise<NLSException>("ERR_A", NarrowArgument{nullptr, ""}, 1);
      },
      Raises<NLSException>("ERR_A", 1).from("kelRaiseSeamTest.cpp"));
}

// --- an allocation failure while an error is raised
// ------------------------------------------------------------------------

// If any allocation fails while an error is being raised, std::bad_alloc is thrown instead and nothing leaks.
TEST(Raise, ThrowsBadAllocIfAnAllocationFails) {
  const MessageList list;
  std::size_t failures = 0;
  for (std::size_t nth = 1; nth < 100; ++nth) {
    ROW("nth", nth);
    bool raised = false;
    bool exhausted = false;
    bool happened = false;
    const AllocationCount count;
    {
      const FailingAllocation failing(nth);
      try {
        list.getFirstMessage();
      } catch (const NLSException&) {
        raised = true;
      } catch (const std::bad_alloc&) {
        exhausted = true;
      }
      happened = failing.happened();
    }
    EXPECT_EQ(count.outstanding(), 0) << "request " << nth;
    EXPECT_EQ(exhausted, happened) << "request " << nth;
    EXPECT_EQ(raised, !happened) << "request " << nth;
    if (!happened) break;
    ++failures;
  }
  EXPECT_GE(failures, 1U);
  EXPECT_LT(failures, 99U);
}

TEST(Raise, WithArgumentsThrowsBadAllocIfAnAllocationFails) {
  std::size_t failures = 0;
  for (std::size_t nth = 1; nth < 100; ++nth) {
    ROW("nth", nth);
    bool exhausted = false;
    bool happened = false;
    const AllocationCount count;
    {
      const FailingAllocation failing(nth);
      try {
        raise<SocketException>("ERR_A", 1, u"text", NarrowArgument{"narrow", ""});
      } catch (const SocketException&) {
        happened = failing.happened();
      } catch (const std::bad_alloc&) {
        exhausted = true;
        happened = failing.happened();
      }
    }
    EXPECT_EQ(count.outstanding(), 0) << "request " << nth;
    EXPECT_EQ(exhausted, happened) << "request " << nth;
    if (!happened) break;
    ++failures;
  }
  EXPECT_GE(failures, 4U) << "a message and three arguments";
  EXPECT_LT(failures, 99U);
}

}  // namespace
}  // namespace tarvo::test
