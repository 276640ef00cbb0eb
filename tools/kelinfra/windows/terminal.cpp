#include "terminal.hpp"

#include "names.hpp"

#include <fcntl.h>
#include <io.h>
#include <windows.h>
// shellapi.h needs the types of windows.h.
#include <shellapi.h>

#include <cstdio>
#include <memory>

namespace kelinfra {

namespace {

HANDLE handleOf(int descriptor) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

/// Lets a console obey the sequences for colours and for the progress bar. Before Windows 10 it cannot.
bool obeysSequences(int descriptor) {
  DWORD mode = 0;
  constexpr DWORD sequences = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
  return GetConsoleMode(handleOf(descriptor), &mode) != 0 &&
         SetConsoleMode(handleOf(descriptor), mode | sequences) != 0;
}

}  // namespace

StandardStreams::StandardStreams() : codePage_(GetConsoleOutputCP()) {
  for (const int descriptor : {standardInput, standardOutput, standardError}) _setmode(descriptor, _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
}

StandardStreams::~StandardStreams() {
  std::fflush(nullptr);
  if (codePage_ != 0) SetConsoleOutputCP(codePage_);
}

std::vector<std::string> argumentsOf(int, const char* const*) {
  int count = 0;
  const std::unique_ptr<LPWSTR, decltype(&LocalFree)> words(CommandLineToArgvW(GetCommandLineW(), &count),
                                                            LocalFree);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(narrow(words.get()[i]));
  return arguments;
}

bool isTerminal(int descriptor) {
  DWORD mode = 0;
  if (descriptor == standardInput) return GetConsoleMode(handleOf(descriptor), &mode) != 0;
  return obeysSequences(descriptor);
}

bool showsColours() {
  return isTerminal(standardOutput);
}

}  // namespace kelinfra
