// Answers documents with what it counted in them, each client in a separate thread.

#include "documentAnalysis.hpp"
#include "documentService.hpp"
#include "reception.hpp"
#include "stopSignals.hpp"

#include <iostream>
#include <limits>
#include <string>
#include <vector>

namespace {

const char* const usage =
    "Usage: documentServer [--clients N] SETTINGS\n"
    "Answers each document that a client sends with what it counted in it. SETTINGS is a properties file;\n"
    "server.properties, which comes with the program, explains each setting.\n"
    "\n"
    "  --clients N      ends after N clients; 0, the default, goes on until it is stopped\n"
    "  --help           prints this text\n"
    "\n"
    "Prints \"listening on PORT\" when clients may come. A wrong request is answered with its error. A "
    "connection\n"
    "that fails is printed and ends. A client for whom something is missing (a place, a descriptor, a "
    "thread,\n"
    "memory) is refused. SIGTERM or SIGINT (Ctrl-C) stops the server: it takes no new client, gives those "
    "who are\n"
    "there the time that the settings allow, and ends with status 0. A second signal ends it at once.\n"
    "\n";

int run(const std::vector<std::string>& arguments) {
  if (arguments == std::vector<std::string>{"--help"}) {
    std::cout << usage << documents::exitStatusHelp;
    return documents::statusOk;
  }
  unsigned long long clients = 0;
  const auto plain = documents::parseArguments(
      arguments, {{"--clients", &clients, 0, std::numeric_limits<unsigned int>::max()}});
  if (!plain || plain->size() != 1) {
    std::cerr << usage << documents::exitStatusHelp;
    return documents::statusUsage;
  }
  const auto text = documents::readFile(plain->front());
  if (!text) {
    std::cerr << plain->front() << ": it cannot be read\n";
    return documents::statusUsage;
  }
  const documents::Settings settings = documents::readSettings(*text);
  documents::Screen screen;
  documents::watchStopSignals();
  documents::Reception(settings, plain->front(), screen).run(clients);
  return documents::statusOk;
}

}  // namespace

int main(int argc, char** argv) {
  return documents::guarded(run, argc, argv);
}
