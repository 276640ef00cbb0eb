#include "traceCalls.hpp"

#include "infra/trace/kelProbeNames.hpp"

#include <algorithm>
#include <cstdio>
#include <map>
#include <unordered_map>

namespace kelinfra {

namespace {

using tarvo::trace::findProbe;
using tarvo::trace::ProbeInfo;
using tarvo::trace::ProbeReports;

/// The reports of a probe; a program's own functions report entry and exit.
ProbeReports reportsOf(std::uint32_t probe) {
  const ProbeInfo* const info = findProbe(probe);
  return info == nullptr ? ProbeReports::ENTRY_AND_EXIT : info->reports;
}

/// For each event whether it has a partner: an entry its exit, an exit its entry.
class Pairs {
 public:
  explicit Pairs(const std::vector<TraceEvent>& events) : paired_(events.size(), false) {
    for (std::size_t i = 0; i < events.size(); ++i) {
      if (events[i].isExit) {
        leave(events, i);
      } else {
        open_.push_back(i);
        ++count_[events[i].probe];
      }
    }
  }

  bool operator[](std::size_t event) const { return paired_[event]; }

 private:
  void leave(const std::vector<TraceEvent>& events, std::size_t exit) {
    const std::uint32_t probe = events[exit].probe;
    const ProbeReports reports = reportsOf(probe);
    if (reports == ProbeReports::EXIT_ONLY || open_.empty() || count_[probe] == 0) return;
    if (reports == ProbeReports::EITHER && events[open_.back()].probe != probe) return;
    while (events[open_.back()].probe != probe) pop(events);  // these have no exit
    paired_[open_.back()] = paired_[exit] = true;
    pop(events);
  }
  void pop(const std::vector<TraceEvent>& events) {
    --count_[events[open_.back()].probe];
    open_.pop_back();
  }

  std::vector<bool> paired_;
  std::vector<std::size_t> open_;                         // entries without an exit so far
  std::unordered_map<std::uint32_t, std::size_t> count_;  // of them
};

/// Whether the event occurs when an error is constructed.
bool constructsAnError(const TraceEvent& event) {
  static const std::uint32_t list = findProbe("MessageList::MessageList")->probe;
  static const std::uint32_t add = findProbe("MessageList::addMessage")->probe;
  return event.probe == list || event.probe == add;
}

class Decoder {
 public:
  explicit Decoder(const std::vector<TraceEvent>& events)
      : events_(events),
        pairs_(events),
        onlyEntries_(
            std::none_of(events.begin(), events.end(), [](const TraceEvent& e) { return e.isExit; })) {}

  std::vector<TraceCall> decode() {
    for (std::size_t i = 0; i < events_.size(); ++i) {
      const TraceEvent& event = events_[i];
      if (constructsAnError(event)) {
        noteError();
      } else {
        while (!open_.empty() && open_.back().raised) close(now_);
      }
      now_ = event.nanoseconds;
      event.isExit ? leave(i) : enter(i);
    }
    while (!open_.empty()) close(now_);
    return std::move(calls_);
  }

 private:
  struct Open {
    std::size_t call;
    bool hasExit;
    bool raised;
  };

  /// The open calls without an exit end with this error.
  void noteError() {
    for (auto call = open_.rbegin(); call != open_.rend() && !call->hasExit; ++call) call->raised = true;
  }

  void close(std::uint64_t time) {
    calls_[open_.back().call].to = time;
    open_.pop_back();
  }

  void add(std::uint32_t probe, TraceEnd end) { calls_.push_back({probe, end, open_.size(), now_, now_}); }

  void enter(std::size_t index) {
    const std::uint32_t probe = events_[index].probe;
    if (onlyEntries_) return add(probe, TraceEnd::point);
    if (!open_.empty() && !open_.back().hasExit && calls_[open_.back().call].probe == probe) close(now_);
    add(probe, pairs_[index] ? TraceEnd::exit : TraceEnd::noExit);
    open_.push_back({calls_.size() - 1, pairs_[index], false});
  }

  void leave(std::size_t index) {
    if (!pairs_[index]) return add(events_[index].probe, TraceEnd::point);
    while (!open_.back().hasExit) close(now_);
    close(now_);
  }

  const std::vector<TraceEvent>& events_;
  Pairs pairs_;
  bool onlyEntries_;
  std::uint64_t now_ = 0;
  std::vector<Open> open_;
  std::vector<TraceCall> calls_;
};

}  // namespace

std::vector<TraceCall> callsOf(const std::vector<TraceEvent>& events) {
  return Decoder(events).decode();
}

std::string nameOfProbe(std::uint32_t probe) {
  const ProbeInfo* const info = findProbe(probe);
  if (info != nullptr) return std::string(info->name);
  char number[16];
  std::snprintf(number, sizeof number, "%08X", static_cast<unsigned int>(probe));
  return number;
}

std::size_t TraceTree::inner(std::size_t parent, std::uint32_t probe) {
  const auto [place, fresh] = index_.emplace(std::make_pair(parent, probe), nodes_.size());
  if (!fresh) return place->second;
  TraceNode node;
  node.probe = probe;
  node.depth = nodes_[parent].depth + 1;
  nodes_.push_back(std::move(node));
  nodes_[parent].inner.push_back(nodes_.size() - 1);
  return nodes_.size() - 1;
}

void TraceTree::add(const std::vector<TraceCall>& calls) {
  std::vector<std::size_t> path = {0};
  for (const TraceCall& call : calls) {
    path.resize(call.depth + 1);
    const std::uint64_t length = call.to - call.from;
    const std::size_t parent = path.back();
    path.push_back(inner(parent, call.probe));
    TraceSum& sum = nodes_[path.back()].sum;
    ++sum.calls;
    if (call.end == TraceEnd::noExit) ++sum.noExit;
    sum.whole += length;
    sum.own += length;
    if (parent == 0) {
      nodes_[0].sum.whole += length;
    } else {
      nodes_[parent].sum.own -= length;
    }
  }
}

std::vector<const TraceNode*> TraceTree::inOrder() const {
  std::vector<const TraceNode*> order;
  std::vector<const TraceNode*> waiting = {nodes_.data()};
  while (!waiting.empty()) {
    const TraceNode* const node = waiting.back();
    waiting.pop_back();
    if (node != nodes_.data()) order.push_back(node);
    const std::size_t first = waiting.size();
    for (const std::size_t inner : node->inner) waiting.push_back(&nodes_[inner]);
    const auto added = waiting.begin() + static_cast<std::ptrdiff_t>(first);
    std::stable_sort(added, waiting.end(),
                     [](const TraceNode* a, const TraceNode* b) { return a->sum.whole > b->sum.whole; });
    std::reverse(added, waiting.end());
  }
  return order;
}

std::vector<TraceFunction> functionsOf(const TraceTree& tree) {
  std::map<std::uint32_t, TraceSum> sums;
  std::vector<std::uint32_t> path;
  std::unordered_map<std::uint32_t, std::size_t> onPath;
  for (const TraceNode* node : tree.inOrder()) {
    for (; path.size() >= node->depth; path.pop_back()) --onPath[path.back()];
    TraceSum& sum = sums[node->probe];
    sum.calls += node->sum.calls;
    sum.noExit += node->sum.noExit;
    sum.own += node->sum.own;
    if (onPath[node->probe] == 0) sum.whole += node->sum.whole;
    path.push_back(node->probe);
    ++onPath[node->probe];
  }
  std::vector<TraceFunction> functions;
  functions.reserve(sums.size());
  for (const auto& [probe, sum] : sums) functions.push_back({probe, sum});
  std::stable_sort(functions.begin(), functions.end(),
                   [](const TraceFunction& a, const TraceFunction& b) { return a.sum.own > b.sum.own; });
  return functions;
}

}  // namespace kelinfra
