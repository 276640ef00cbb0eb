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
using oss::IOException;
using oss::makeError;
using oss::MessageList;
using oss::NLSException;
using oss::raise;
using oss::SocketException;
using oss::SourcePlace;
using oss::errors::Classes;
using oss::errors::Code;
using oss::errors::Entry;
using oss::errors::Host;
using oss::errors::Kinds;
using oss::errors::Name;
using oss::errors::Operation;
using oss::errors::Port;
using oss::errors::Size;
using oss::errors::Text;
using testing::ElementsAre;

// Identifiers of this test.
using AllClasses = Classes<oss::BaseException, NLSException, IOException, SocketException,
                           util::PropertiesException, util::Base64Exception>;
template <class... Arguments>
using Own = Entry<AllClasses, Kinds<Arguments...>>;

constexpr Own<> plain{"ERR_A"};
constexpr Own<Code, Host, Text, Operation, Port> five{"ERR_A"};
constexpr Own<Size, Size, Size, Size, Size, Size, Size> sizes{"ERR_A"};
constexpr Own<Operation> operation{"ERR_A"};
constexpr Own<Operation, Code> operationAndCode{"ERR_A"};
constexpr Own<Name, Code> nameAndCode{"ERR_A"};
constexpr Entry<AllClasses, Kinds<Code>, Kinds<Host, Port>> withoutPeer{"ERR_A"};

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
    const SourcePlace place{row.path.c_str(), 77};
    EXPECT_THAT([&] { raise<NLSException>({plain, place}); }, Raises<NLSException>("ERR_A").from(row.name));
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
  const unsigned int first = lineOf([] { raise<NLSException>(plain); });
  EXPECT_EQ(first, __LINE__ - 1U);
  const unsigned int second = lineOf([] { raise<NLSException>(operation, Operation{"b"}); });
  EXPECT_EQ(second, __LINE__ - 1U);
  const unsigned int made = lineOf([] { throw makeError<NLSException>(plain); });
  EXPECT_EQ(made, __LINE__ - 1U);
}

// --- the class
// ----------------------------------------------------------------------------------------------

TEST(Raise, ThrowsTheGivenClass) {
  constexpr const char* file = "kelRaiseSeamTest.cpp";
  EXPECT_THAT([] { raise<oss::BaseException>(plain); }, Raises<oss::BaseException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<NLSException>(plain); }, Raises<NLSException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<IOException>(plain); }, Raises<IOException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<SocketException>(plain); }, Raises<SocketException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<util::PropertiesException>(plain); },
              Raises<util::PropertiesException>("ERR_A").from(file));
  EXPECT_THAT([] { raise<util::Base64Exception>(plain); }, Raises<util::Base64Exception>("ERR_A").from(file));
}

TEST(Raise, CanCreateTheErrorWithoutThrowingIt) {
  NLSException error = makeError<NLSException>(withoutPeer, Code{1});
  EXPECT_EQ(error.getMessages().count(), 1);
  EXPECT_THAT(argumentsOf(error.getErrorMessage()), ElementsAre("1"));
}

// --- the arguments
// ------------------------------------------------------------------------------------------

TEST(Raise, AddsItsArgumentsInOrder) {
  const UnicodeString host(u"h\u00F6st");
  const UnicodeString text(u"text");
  EXPECT_THAT(
      [&] { raise<SocketException>(five, Code{1}, Host{host}, Text{text}, Operation{"narrow"}, Port{5U}); },
      Raises<SocketException>("ERR_A", 1, host, "text", "narrow", 5).from("kelRaiseSeamTest.cpp"));
}

TEST(Raise, AddsAllArgumentsOrLeavesOutThoseThatTheIdentifierMayLack) {
  const UnicodeString host(u"host");
  EXPECT_THAT([&] { raise<SocketException>(withoutPeer, Code{7}, Host{host}, Port{5}); },
              Raises<SocketException>("ERR_A", 7, "host", 5).from("kelRaiseSeamTest.cpp"));
  EXPECT_THAT([&] { raise<SocketException>(withoutPeer, Code{7}); },
              Raises<SocketException>("ERR_A", 7).from("kelRaiseSeamTest.cpp"));
}

TEST(Raise, AddsNumbersAsTheirLow32Bits) {
  const auto raised = Raises<NLSException>("ERR_A", -1, 705032704, "-2147483648", 255, -5, 65535, 0)
                          .from("kelRaiseSeamTest.cpp");
  EXPECT_THAT(
      [] {
        raise<NLSException>(sizes, Size{4294967295U}, Size{std::uint64_t{5000000000ULL}}, Size{2147483648U},
                            Size{static_cast<unsigned char>(255)}, Size{static_cast<short>(-5)},
                            Size{static_cast<unsigned short>(65535)}, Size{std::size_t{0}});
      },
      raised);
}

TEST(Raise, AddsAnOperationInTheDefaultCodePage) {
  constexpr const char* bytes = "\xC3\xA4";
  EXPECT_THAT([] { raise<NLSException>(operation, Operation{bytes}); },
              Raises<NLSException>("ERR_A", UnicodeString(bytes, ucnv_getDefaultName()))
                  .from("kelRaiseSeamTest.cpp"));
}

TEST(Raise, AddsAnEmptyTextButIgnoresAnEmptyOperation) {
  EXPECT_THAT([] { raise<NLSException>(nameAndCode, Name{UnicodeString()}, Code{1}); },
              Raises<NLSException>("ERR_A", "", 1).from("kelRaiseSeamTest.cpp"));
  EXPECT_THAT([] { raise<NLSException>(operationAndCode, Operation{""}, Code{1}); },
              Raises<NLSException>("ERR_A", 1).from("kelRaiseSeamTest.cpp"));
  EXPECT_THAT([] { raise<NLSException>(operationAndCode, Operation{nullptr}, Code{1}); },
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
  ucnv_getDefaultName();  // the first call allocates, in the tests' support
  std::size_t failures = 0;
  for (std::size_t nth = 1; nth < 100; ++nth) {
    ROW("nth", nth);
    bool exhausted = false;
    bool happened = false;
    const AllocationCount count;
    {
      const FailingAllocation failing(nth);
      try {
        raise<SocketException>(five, Code{1}, Host{u"host"}, Text{u"text"}, Operation{"narrow"}, Port{5});
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
  EXPECT_GE(failures, 4U) << "a message and its arguments";
  EXPECT_LT(failures, 99U);
}

}  // namespace
}  // namespace tarvo::test
