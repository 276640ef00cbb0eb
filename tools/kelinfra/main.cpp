#include "infra/oss/kelBaseException.hpp"

#include "commandLine.hpp"
#include "findings.hpp"
#include "texts.hpp"

#include <cstdio>
#include <exception>

namespace {

int failWith(const std::string& text) {
  std::fprintf(stderr, "kelinfra: %s\n", text.c_str());
  return kelinfra::failed;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const int status = kelinfra::run(count, arguments);
    if (std::fflush(stdout) != 0)
      return failWith(kelinfra::rendered(kelinfra::message("KELINFRA_NO_OUTPUT")));
    return status;
  } catch (const kelinfra::Failure& failure) {
    return failWith(kelinfra::rendered(failure.message));
  } catch (tarvo::oss::BaseException& error) {
    return failWith(kelinfra::rendered(error.getMessages()));
  } catch (const std::exception& error) {
    return failWith(error.what());
  }
}
