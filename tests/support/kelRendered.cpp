#include "support/kelRendered.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace tarvo::test {

std::string nameOf(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return name != nullptr ? name.get() : type.name();
}

std::string rendered(oss::BaseException& error) {
  std::string text =
      nameOf(typeid(error)) + ", " + std::to_string(error.getMessages().count()) + " message(s)";
  oss::MessageList messages(error.getMessages());
  for (const oss::Message* each = messages.getFirstMsg(); each != nullptr; each = messages.getNextMsg()) {
    text += ": " + utf8(each->getMessageID()) + " [" + utf8(each->getFormattedMessage()) + "]";
    for (const std::string& argument : argumentsOf(*each)) text += " <" + argument + ">";
    text += " from " + utf8(each->getFileName()) + ":" + std::to_string(each->getLineNumber()) + " level " +
            std::to_string(each->getMessageLevel());
  }
  return text;
}

std::string rendered(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (oss::BaseException& raised) {
    return rendered(raised);
  } catch (const std::exception& thrown) {
    return nameOf(typeid(thrown)) + ": " + thrown.what();
  } catch (...) {
    return "not derived from std::exception";
  }
}

}  // namespace tarvo::test
