#include "traceDrawings.hpp"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace kelinfra {

namespace {

// --- Chrome's format

struct Interval {
  std::uint64_t from;
  std::uint64_t to;
};

/// Returns the times of calls, moved so that each call lasts at least a nanosecond and ends after the calls
/// in it.
std::vector<Interval> separated(const std::vector<TraceCall>& calls) {
  std::vector<Interval> times(calls.size());
  std::vector<std::size_t> open;
  std::uint64_t now = 0;
  const auto close = [&] {
    const std::size_t call = open.back();
    now = times[call].to = std::max(calls[call].to, now + 1);
    open.pop_back();
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    while (open.size() > calls[i].depth) close();
    now = times[i].from = std::max(now, calls[i].from);
    open.push_back(i);
  }
  while (!open.empty()) close();
  return times;
}

std::string chromeEvent(const TraceCall& call, const Interval& time, const std::string& place) {
  std::string event = "{\"name\":\"" + nameOfProbe(call.probe) +
                      "\",\"cat\":\"KELINFRA\",\"ph\":\"X\",\"ts\":" + microseconds(time.from) +
                      ",\"dur\":" + microseconds(time.to - time.from) + place;
  if (call.end == TraceEnd::noExit) event += ",\"args\":{\"exit\":\"none\"}";
  if (call.end == TraceEnd::point) event += ",\"args\":{\"duration\":\"none\"}";
  return event + "}";
}

// --- the flame graph

constexpr double graphWidth = 1200;
constexpr double rowHeight = 18;
constexpr double letterWidth = 7;
constexpr double narrowest = 0.2;
constexpr std::size_t mostRows = 100;

std::string decimal(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", number);
  return text;
}

std::string escaped(const std::string& text) {
  std::string out;
  for (const char character : text) {
    if (character == '&')
      out += "&amp;";
    else if (character == '<')
      out += "&lt;";
    else if (character == '>')
      out += "&gt;";
    else
      out += character;
  }
  return out;
}

/// Returns a light colour that depends on the class only.
std::string colourOf(const std::string& name) {
  unsigned int sum = 0;
  for (const char letter : name.substr(0, name.find(':')))
    sum = sum * 31 + static_cast<unsigned char>(letter);
  return "hsl(" + std::to_string(sum % 60) + "," + std::to_string(70 + sum / 60 % 25) + "%,65%)";
}

std::string rectangle(double x, double y, double width, const std::string& name, const std::string& title) {
  std::string svg = "<g><title>" + escaped(title) + "</title><rect x=\"" + decimal(x) + "\" y=\"" +
                    decimal(y) + "\" width=\"" + decimal(width) + "\" height=\"" + decimal(rowHeight - 1) +
                    "\" fill=\"" + colourOf(name) + "\"/>";
  const auto letters = static_cast<std::size_t>(std::max(0.0, (width - 6) / letterWidth));
  const std::string label = name.size() <= letters ? name
                            : letters > 4          ? name.substr(0, letters - 2) + ".."
                                                   : "";
  if (!label.empty())
    svg += "<text x=\"" + decimal(x + 3) + "\" y=\"" + decimal(y + 13) + "\">" + escaped(label) + "</text>";
  return svg + "</g>\n";
}

std::string titleOf(const TraceNode& node) {
  return nameOfProbe(node.probe) + ": " + std::to_string(node.sum.calls) + " calls, " +
         microseconds(node.sum.whole) + " us, own " + microseconds(node.sum.own) + " us";
}

}  // namespace

std::string microseconds(std::uint64_t nanoseconds) {
  const std::string rest = std::to_string(nanoseconds % 1000 + 1000);
  return std::to_string(nanoseconds / 1000) + "." + rest.substr(1);
}

std::string chromeTrace(const TraceFile& file) {
  std::string json = "{\"displayTimeUnit\":\"ns\",\"traceEvents\":[";
  const char* separator = "\n";
  for (const TraceThread& thread : file.threads) {
    const std::string place =
        ",\"pid\":" + std::to_string(file.process) + ",\"tid\":" + std::to_string(thread.number);
    const std::vector<TraceCall> calls = callsOf(thread.events);
    const std::vector<Interval> times = separated(calls);
    for (std::size_t i = 0; i < calls.size(); ++i) {
      json += separator + chromeEvent(calls[i], times[i], place);
      separator = ",\n";
    }
  }
  return json + "\n]}\n";
}

std::string flameGraph(const TraceTree& tree) {
  const std::uint64_t total = std::max<std::uint64_t>(tree.nodes()[0].sum.whole, 1);
  const double unit = graphWidth / static_cast<double>(total);
  std::string rows;
  std::size_t deepest = 0;
  std::vector<double> free(mostRows + 2, 0);  // for each depth, where the next rectangle begins
  for (const TraceNode* node : tree.inOrder()) {
    const std::size_t depth = node->depth;
    const double width = static_cast<double>(node->sum.whole) * unit;
    if (depth > mostRows) continue;
    const double x = free[depth];
    free[depth] += width;
    free[depth + 1] = x;
    if (width < narrowest) continue;
    deepest = std::max(deepest, depth);
    rows += rectangle(x, static_cast<double>(depth) * rowHeight + 12, width, nameOfProbe(node->probe),
                      titleOf(*node));
  }
  const std::string height = decimal(static_cast<double>(deepest + 2) * rowHeight + 12);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1200\" height=\"" + height +
         "\" viewBox=\"0 0 1200 " + height +
         "\" font-family=\"monospace\" font-size=\"11.5\">\n<rect width=\"1200\" height=\"" + height +
         "\" fill=\"white\"/>\n<text x=\"3\" y=\"18\">" + microseconds(tree.nodes()[0].sum.whole) +
         " us in calls of all threads</text>\n" + rows + "</svg>\n";
}

}  // namespace kelinfra
