#include "infra/oss/kelAddressRecord.hpp"

#include "commands.hpp"
#include "files.hpp"
#include "json.hpp"
#include "outputFile.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <list>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace kelinfra {

namespace {

using tarvo::oss::AddressRecord;
using tarvo::oss::Socket;

struct CheckOptions {
  std::vector<std::string> files;
  Printing printing;
};

struct ResolveOptions {
  std::string host;
  std::optional<unsigned short> port;
  std::string output;
};

/// The fields of the record that can be read, in one line.
std::string textOf(const Socket::_AddrInfoExternal& record) {
  std::string text = utf8(AddressRecord::toString(record));
  // The finding describes the fault. A host contains no blank, so it does not contain "fault ".
  const std::size_t fault = text.rfind("fault ");
  if (fault != std::string::npos) text.resize(fault == 0 ? 0 : fault - std::strlen("; "));
  return text;
}

/// The name of the rule: "wrong-length" for WRONG_LENGTH.
std::string ruleOf(AddressRecord::Fault fault) {
  std::string rule = AddressRecord::nameOf(fault);
  std::transform(rule.begin(), rule.end(), rule.begin(),
                 [](unsigned char c) { return c == '_' ? '-' : static_cast<char>(std::tolower(c)); });
  return rule;
}

/// A warning if `Socket::connect` accepts the record.
Level levelOf(AddressRecord::Fault fault) {
  switch (fault) {
    case AddressRecord::NO_LIST:
    case AddressRecord::UNKNOWN_FAMILY:
    case AddressRecord::DIFFERENT_FAMILY:
      return Level::warning;
    default:
      return Level::error;
  }
}

Finding findingOf(const std::string& file, const AddressRecord::Result& result, std::size_t size) {
  const std::string id = std::string("KELINFRA_ADDRESS_") + AddressRecord::nameOf(result.fault);
  const std::size_t number = result.fault == AddressRecord::WRONG_LENGTH ? size : result.offset;
  return {file, 0, 0, ruleOf(result.fault), levelOf(result.fault), message(id.c_str(), number)};
}

/// The records of several files, and the findings in them.
class CheckedRecords {
 public:
  void add(const std::string& name) {
    const std::string bytes = readFile(name);
    const AddressRecord::Result result = AddressRecord::check(bytes.data(), bytes.size());
    Socket::_AddrInfoExternal record = {};
    const bool isRecord = bytes.size() == sizeof record;
    if (isRecord) std::memcpy(&record, bytes.data(), sizeof record);
    const std::string text = isRecord ? textOf(record) : "";
    if (!text.empty()) lines_ += printable(shownName(name)) + ": " + text + "\n";
    records_.push_back({{"file", shownName(name)}, {"record", text}, {"entries", result.entries}});
    if (result.fault != AddressRecord::NONE)
      findings_.push_back(findingOf(shownName(name), result, bytes.size()));
  }

  Status print(const Printing& how) const {
    if (how.json) {
      kelinfra::print({{"records", records_}, {"findings", jsonOf(findings_)}});
      return statusOf(findings_, how);
    }
    std::fputs(lines_.c_str(), stdout);
    return kelinfra::print(findings_, how);
  }

 private:
  std::string lines_;
  nlohmann::ordered_json records_ = nlohmann::ordered_json::array();
  std::list<Finding> findings_;
};

Status check(const CheckOptions& options) {
  requireOperand("FILE", options.files);
  CheckedRecords records;
  for (const std::string& name : options.files) records.add(name);
  return records.print(options.printing);
}

Status resolve(const ResolveOptions& options, bool json) {
  requireOperand("HOST", options.host);
  if (!options.port) fail("KELINFRA_OPERAND_MISSING", "PORT");
  Socket::_AddrInfoExternal record = {};
  const int code = Socket::resolveAddrInfo(unicode(options.host), *options.port, record);
  if (code != 0) throw Failure{message("KELINFRA_ADDRESS_UNRESOLVED", options.host, code), foundSomething};
  if (!options.output.empty()) {
    OutputFile file(options.output);
    file.write(reinterpret_cast<const char*>(record.bytes), sizeof record);
    file.finish();
  } else if (json) {
    print({{"record", textOf(record)}, {"entries", AddressRecord::check(&record, sizeof record).entries}});
  } else {
    std::fputs((textOf(record) + "\n").c_str(), stdout);
  }
  return clean;
}

void addCheck(CLI::App& address, CommandLine& line) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App& checking =
      addCommand(address, line, "check", "Print and check address records", [options, &line] {
        options->printing.json = line.json;
        return check(*options);
      });
  addOperand(checking, "FILE", options->files, "Files with one record each; - is standard input");
  addStrict(checking, options->printing.strict);
  addJson(checking, line);
  checking.footer("Example: kelinfra address check db.record");
}

void addResolve(CLI::App& address, CommandLine& line) {
  const auto options = std::make_shared<ResolveOptions>();
  CLI::App& resolving =
      addCommand(address, line, "resolve", "Resolve a host, and print its addresses or write a record",
                 [options, &line] { return resolve(*options, line.json); });
  addOperand(resolving, "HOST", options->host, "A name or an address");
  addOperand(resolving, "PORT", options->port, "A port from 0 to 65535");
  CLI::Option* const output =
      resolving
          .add_option("-o,--output", options->output, "Write the record to a file; - is standard output")
          ->type_name("FILE");
  addJson(resolving, line);
  output->excludes("--json");
  resolving.footer("Example: kelinfra address resolve -o db.record db.example 4711");
}

}  // namespace

void addAddress(CLI::App& app, CommandLine& line) {
  CLI::App& address = *app.add_subcommand("address", "Records of resolved addresses");
  address.footer("Example: kelinfra address check db.record");
  addCheck(address, line);
  addResolve(address, line);
}

}  // namespace kelinfra
