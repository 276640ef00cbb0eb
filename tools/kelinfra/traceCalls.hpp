#pragma once

#include "traceFile.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// The calls of a thread, from its events.
namespace kelinfra {

enum class TraceEnd {
  exit,    ///< the call has returned
  noExit,  ///< no exit was recorded: the call threw, or it was running when the recording ended
  point    ///< only one event was recorded, so the call has no duration
};

struct TraceCall {
  std::uint32_t probe;
  TraceEnd end;
  std::size_t depth;  ///< 0 for a call that is in no other
  std::uint64_t from;
  std::uint64_t to;
};

/// Returns the calls in the order of their entries. A call is followed by the calls in it, which have a
/// greater depth and lie within its time; calls side by side do not overlap.
///
/// Points are: exits of functions that report only their exit, exits whose entry is not among the events, and
/// all entries if the thread recorded no exit. A call without an exit ends after the events that construct
/// the message of an error, when the same function is entered again, or when the call around it ends.
std::vector<TraceCall> callsOf(const std::vector<TraceEvent>& events);

/// Returns "Class::function", or the number in hexadecimal if the library has no such probe.
std::string nameOfProbe(std::uint32_t probe);

/// The calls of one function, at one place in the tree or everywhere.
struct TraceSum {
  std::uint64_t calls = 0;
  std::uint64_t noExit = 0;
  std::uint64_t whole = 0;  ///< nanoseconds, with the calls in it
  std::uint64_t own = 0;    ///< nanoseconds, without the calls in it
};

/// A place in the tree: calls of the same function in calls of the same functions are one node.
struct TraceNode {
  std::uint32_t probe = 0;
  std::size_t depth = 0;
  TraceSum sum;
  std::vector<std::size_t> inner;  ///< indexes of nodes
};

/// Merges calls into a tree. Node 0 is the root, which contains the outermost calls.
class TraceTree {
 public:
  TraceTree() : nodes_(1) {}

  void add(const std::vector<TraceCall>& calls);
  const std::vector<TraceNode>& nodes() const { return nodes_; }
  /// Returns the nodes below the root, each followed by the nodes in it; the longest come first.
  std::vector<const TraceNode*> inOrder() const;

 private:
  std::size_t inner(std::size_t parent, std::uint32_t probe);

  std::vector<TraceNode> nodes_;
  std::map<std::pair<std::size_t, std::uint32_t>, std::size_t> index_;  // of the parent and the probe
};

struct TraceFunction {
  std::uint32_t probe;
  TraceSum sum;
};

/// Returns the sums of each function, those with the longest own time first. Calls of a function in calls of
/// the same function add nothing to `whole`.
std::vector<TraceFunction> functionsOf(const TraceTree& tree);

}  // namespace kelinfra
