#include "infra/oss/kelBaseException.hpp"

#include "commandLine.hpp"
#include "findings.hpp"
#include "terminal.hpp"
#include "texts.hpp"

#include <cerrno>
#include <cstdio>
#include <exception>

namespace {

int failWith(const std::string& text, int exitStatus = kelinfra::failed) {
  std::fprintf(stderr, "kelinfra: %s\n", text.c_str());
  return exitStatus;
}

}  // namespace

int main(int count, char** arguments) {
  const kelinfra::StandardStreams streams;
  try {
    const int status = kelinfra::run(kelinfra::argumentsOf(count, arguments));
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!isWritten && errno == EPIPE) return status;  // the reader wants no more
    if (!isWritten) return failWith(kelinfra::rendered(kelinfra::message("KELINFRA_NO_OUTPUT")));
    return status;
  } catch (const kelinfra::Failure& failure) {
    return failWith(kelinfra::printable(kelinfra::rendered(failure.message)), failure.exitStatus);
  } catch (tarvo::oss::BaseException& error) {
    return failWith(kelinfra::rendered(error.getMessages()));
  } catch (const std::exception& error) {
    return failWith(error.what());
  }
}
