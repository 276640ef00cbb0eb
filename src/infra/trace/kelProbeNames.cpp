#include "infra/trace/kelProbeNames.hpp"

#include "trace/kelProbes.hpp"

#include <algorithm>
#include <array>

namespace tarvo::trace {
namespace {

constexpr auto probeInfos = [] {
  std::array<ProbeInfo, probeTable.size()> infos{};
  for (std::size_t i = 0; i < infos.size(); ++i)
    infos[i] = {probeBase + probeTable[i].number, probeTable[i].function, probeTable[i].reports};
  return infos;
}();

template <class Condition>
const ProbeInfo* find(const Condition& condition) noexcept {
  const auto* const found = std::find_if(probeInfos.begin(), probeInfos.end(), condition);
  return found == probeInfos.end() ? nullptr : found;
}

}  // namespace

ProbeRange allProbes() noexcept {
  return {probeInfos.data(), probeInfos.size()};
}

const ProbeInfo* findProbe(std::uint32_t probe) noexcept {
  return find([=](const ProbeInfo& info) { return info.probe == probe; });
}

const ProbeInfo* findProbe(std::string_view name) noexcept {
  return find([=](const ProbeInfo& info) { return info.name == name; });
}

}  // namespace tarvo::trace
