#include "infra/oss/kelStrictConverter.hpp"

#include "commands.hpp"
#include "files.hpp"
#include "outputFile.hpp"
#include "progress.hpp"
#include "terminal.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kelinfra {

namespace {

using tarvo::oss::StrictConverter;
using Fault = StrictConverter::Fault;

struct ConvertOptions {
  std::vector<std::string> files;
  std::string from;
  std::string to = "UTF-8";
  std::string output = "-";
  bool lenient = false;
  Printing printing;
};

constexpr std::size_t windowSize = std::size_t{1} << 16U;
constexpr std::size_t mostFindings = 10'000;

std::string hexadecimal(unsigned number, int digits) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%0*X", digits, number);
  return text.data();
}

/// The bytes of the fault, or its character.
std::string shown(const Fault& fault) {
  if (fault.character >= 0) return "U+" + hexadecimal(static_cast<unsigned>(fault.character), 4);
  std::string bytes;
  for (std::int32_t i = 0; i < fault.length; ++i) {
    bytes += (i == 0 ? "" : " ") + hexadecimal(static_cast<unsigned char>(fault.bytes[i]), 2);
  }
  return bytes;
}

/// Converts files one after the other into one output.
class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options) : options_(options), output_(options.output) {}

  Status run() {
    for (const std::string& name : options_.files) convert(name);
    if (unlisted_ > 0) {
      findings_.push_back({shownName(options_.files.back()), 0, 0, "more-faults", level(),
                           message("KELINFRA_CONVERT_MORE", unlisted_)});
    }
    if (options_.lenient || findings_.empty()) output_.finish();
    return print(std::move(findings_), options_.printing);
  }

 private:
  Level level() const { return options_.lenient ? Level::warning : Level::error; }

  void convert(const std::string& name) {
    const InputFile input(name);
    StrictConverter stream(options_.from.c_str(), options_.to.c_str());
    Progress progress(input.size());
    std::array<char, windowSize> window{};
    for (bool isLast = false; !isLast;) {
      const std::size_t count = input.read(window.data(), window.size());
      isLast = count < window.size();
      convertWindow(name, stream, window.data(), window.data() + count, isLast);
      progress.advance(count);
    }
  }

  void convertWindow(const std::string& name, StrictConverter& stream, const char* source, const char* end,
                     bool isLast) {
    std::array<char, windowSize> converted{};
    for (auto status = StrictConverter::OUTPUT_FULL; status != StrictConverter::INPUT_EMPTY;) {
      char* target = converted.data();
      status = stream.convert(source, end, target, target + converted.size(), isLast);
      output_.write(converted.data(), static_cast<std::size_t>(target - converted.data()));
      if (status == StrictConverter::FAULT) handle(name, stream);
    }
  }

  /// Replaces the fault by U+FFFD, and that by a question mark if the target does not contain it.
  void handle(const std::string& name, StrictConverter& stream) {
    constexpr std::int32_t replacement = 0xFFFD;
    const Fault& fault = stream.fault();
    const bool isReplacement =
        std::exchange(isReplaced_, false) && fault.character == replacement && fault.offset == replacedAt_;
    if (isReplacement) return stream.replaceFault(U'?');
    list(name, fault);
    if (!options_.lenient) return;
    stream.replaceFault(replacement);
    isReplaced_ = true;
    replacedAt_ = fault.offset;
  }

  void list(const std::string& name, const Fault& fault) {
    if (findings_.size() == mostFindings) {
      ++unlisted_;
      return;
    }
    const auto add = [&](const char* rule, const tarvo::oss::Message& message) {
      findings_.push_back({shownName(name), fault.line, fault.column, rule, level(), message});
    };
    if (fault.kind == Fault::UNMAPPABLE) {
      add("unmappable-character",
          message("KELINFRA_CONVERT_UNMAPPABLE", shown(fault), options_.to, fault.offset));
    } else if (fault.kind == Fault::TRUNCATED) {
      add("truncated-character", message("KELINFRA_CONVERT_TRUNCATED", shown(fault), fault.offset));
    } else {
      add("illegal-bytes", message("KELINFRA_CONVERT_ILLEGAL", shown(fault), options_.from, fault.offset));
    }
  }

  const ConvertOptions& options_;
  OutputFile output_;
  std::list<Finding> findings_;
  std::size_t unlisted_ = 0;
  bool isReplaced_ = false;
  std::uint64_t replacedAt_ = 0;
};

Status convertFiles(ConvertOptions options) {
  requireOperand("--from", options.from);
  const bool readsTerminal = options.files.empty() && isTerminal(standardInput);
  if (options.files.empty() && !readsTerminal) options.files.emplace_back("-");
  requireOperand("FILE", options.files);
  // Bytes and findings are not mixed.
  options.printing.output = options.output == "-" ? stderr : stdout;
  return Conversion(options).run();
}

}  // namespace

void addConvert(CLI::App& app, CommandLine& line) {
  const auto options = std::make_shared<ConvertOptions>();
  CLI::App& convert =
      addCommand(app, line, "convert", "Convert files to another code page, and list all that would be lost",
                 [options, &line] {
                   options->printing.json = line.json;
                   return convertFiles(*options);
                 });
  addOperand(convert, "FILE", options->files, "Files; - is standard input");
  convert.add_option("--from", options->from, "The code page of the files, by a name that ICU knows")
      ->type_name("NAME");
  convert.add_option("--to", options->to, "The code page of the output; else UTF-8")->type_name("NAME");
  convert.add_option("-o,--output", options->output, "The file to write; else standard output")
      ->type_name("FILE");
  convert.add_flag("--lenient", options->lenient, "Replace what would be lost, and write the output");
  addJson(convert, line);
  convert.footer("Example: kelinfra convert --from windows-1252 -o new.txt old.txt");
}

}  // namespace kelinfra
