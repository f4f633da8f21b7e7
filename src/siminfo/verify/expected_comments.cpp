#include "siminfo/verify/expected_comments.h"

#include "siminfo/generators/node/sim_info_data.h"

namespace siminfo {
namespace {

using Names = std::vector<const char*>;

/// The head, and behind it each named bit that is set, as `spelled` has it.
template <class IsSet, class Spell>
void list(Comments& lines, const char* head, const Names& names, IsSet isSet, Spell spelled) {
  lines.emplace_back(head);
  for (std::size_t bit = 0; bit < names.size(); ++bit) {
    if (names[bit] != nullptr && isSet(bit)) lines.push_back("// " + spelled(std::string(names[bit])));
  }
}

void listOfPort(Comments& lines, const char* head, const Names& names, std::uint32_t mask) {
  constexpr std::size_t kNameWidth = 46;
  list(
      lines, head, names, [mask](std::size_t bit) { return (mask >> bit & 1U) != 0; },
      [](std::string name) {
        if (name.size() < kNameWidth) name.resize(kNameWidth, ' ');
        return name + " = 1";
      });
}

}  // namespace

template <bool IsGMP>
Comments maskComments(const Facts& facts, const FramePlan&) {
  Comments lines;
  const auto& words = facts.mask(IsGMP)->words;
  list(
      lines, IsGMP ? "// ---------- GMP Caps ----------" : "// ---------- SMP Caps ----------",
      IsGMP ? SimInfoData::GMPCapMaskBits : SimInfoData::SMPCapMaskBits,
      [&](std::size_t bit) { return (words.at(bit / 32) >> bit % 32 & 1U) != 0; },
      [](std::string name) { return name; });
  return lines;
}
template Comments maskComments<true>(const Facts&, const FramePlan&);
template Comments maskComments<false>(const Facts&, const FramePlan&);

Comments portInfoComments(const Facts& facts, const FramePlan& ports) {
  const auto& record = *facts.record<SMP_PortInfo>(facts.isSwitch() ? *ports.zero : *ports.regular);
  constexpr std::uint32_t kIsSM = 2;  // no simulated port hosts a subnet manager
  Comments lines;
  listOfPort(lines, "// ---------- CapMask", SimInfoData::PortInfoCapMaskBits, record.CapMsk & ~kIsSM);
  listOfPort(lines, "// ---------- CapMask2", SimInfoData::PortInfoCapMask2Bits, record.CapMsk2);
  return lines;
}

}  // namespace siminfo
