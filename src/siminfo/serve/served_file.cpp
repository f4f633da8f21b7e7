#include "siminfo/serve/served_file.h"

#include <algorithm>
#include <charconv>
#include <unordered_map>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/simulator/record_layout.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

constexpr std::string_view kNotSupported =
    "0x000c";  // the status of an attribute that a device does not have
constexpr unsigned kDown = 1;
constexpr unsigned kPolling = 2;
constexpr unsigned kLinkUp = 5;
constexpr std::size_t kDescriptionBytes = 64;

/// The bytes of a description that was made safe for a line of source: \u{...} was a byte, or a character
/// that may not stand there.
std::string descriptionBytes(std::string_view text) {
  constexpr std::string_view kOpening = "\\u{";
  std::string bytes;
  for (std::size_t at = 0; at < text.size() && bytes.size() < kDescriptionBytes; ++at) {
    const std::size_t end =
        text.substr(at).starts_with(kOpening) ? text.find('}', at) : std::string_view::npos;
    const auto code =
        end != std::string_view::npos
            ? parseUnsigned("0x" + std::string(text.substr(at + kOpening.size(), end - at - kOpening.size())))
            : std::nullopt;
    if (code && *code <= 0xff) {
      bytes += static_cast<char>(*code);
      at = end;
    } else {
      bytes += text[at];
    }
  }
  return bytes;
}

std::string hexOf(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) text += hexDigits(static_cast<unsigned char>(byte), 2);
  return text;
}

class ServedFile {
 public:
  ServedFile(const Snapshot& snapshot, const ModelSet& set, SectionStream& out)
      : snapshot_(snapshot), set_(set), out_(out) {
    for (std::size_t i = 0; i < set.nodes.size(); ++i) places_.emplace(set.nodes[i].node->name, i);
  }

  void print(const AttributeLayouts& told) {
    out_ << "siminfo_served_fabric\t1\n";
    if (told.routerInfo) out_ << "router_info\t" << *told.routerInfo << "\n";
    printPlaces<SMP_RouterInfo>(told);
    printPlaces<SMP_PortInfo>(told);
    for (const ModelSet::Member& member : set_.nodes) printNode(*member.node, set_.models[member.model].name);
  }

 private:
  /// Fields whose place in the attribute is not that of the simulator's image.
  template <class Record>
  void printPlaces(const AttributeLayouts& told) {
    for (const NumberLayout& number : recordLayout<Record>().numbers) {
      if (const auto first = told.firstBits.find(number.field); first != told.firstBits.end())
        out_ << "move\t" << kRecordName<Record> << "\t" << number.bit << "\t" << number.bits << "\t"
             << first->second << "\n";
    }
  }

  void printNode(const IBNode& node, const std::string& model) {
    const NodeIdentity* told = snapshot_.nodeIdentities.find(node.recordIndex);
    const NodeIdentity identity = told != nullptr ? *told : NodeIdentity{};
    out_ << "node\t" << guidText(node.guid) << "\t" << model << "\t" << node.type << "\t"
         << guidText(identity.systemGuid.value_or(node.guid)) << "\t" << answerOf<SMP_NodeInfo>(node) << "\t"
         << answerOf<SMP_SwitchInfo>(node) << "\t" << answerOf<SMP_RouterInfo>(node) << "\t"
         << hexOf(descriptionBytes(identity.description.value_or(node.name))) << "\t" << node.name << "\n";
    // Nothing is told of ports that the snapshot does not have.
    for (const IBPort* port : node.ports) {
      if (port != nullptr && port->num <= node.numPorts) printPort(node, *port);
    }
  }

  void printPort(const IBNode& node, const IBPort& port) {
    const PortIdentity* told = snapshot_.portIdentities.find(port.recordIndex);
    const PortIdentity identity = told != nullptr ? *told : PortIdentity{};
    const unsigned state = stateOf(port);
    const unsigned physical = identity.link || state > kDown ? kLinkUp : kPolling;
    const std::string guid = identity.guid ? guidText(*identity.guid) : "-";
    out_ << "port\t" << unsigned{port.num} << "\t" << state << "\t"
         << unsigned{identity.physState.value_or(physical)} << "\t" << guid << "\t"
         << identity.lid.value_or(0) << "\t" << unsigned{identity.lmc.value_or(0)} << "\t"
         << widthSupported(node, port) << "\t" << answerOf<SMP_PortInfo>(port) << "\t"
         << answerOf<SMP_PortInfoExtended>(port) << "\n";
    if (identity.link) printLink(*identity.link);
  }

  static unsigned stateOf(const IBPort& port) {
    constexpr int kMost = 15;  // the field has four bits
    return port.portState >= 0 && port.portState <= kMost ? static_cast<unsigned>(port.portState) : 0;
  }

  /// On these switches no generated function assigns the width of ordinary ports.
  std::string widthSupported(const IBNode& node, const IBPort& port) const {
    const auto* record = snapshot_.discovered.records.find<SMP_PortInfo>(port.recordIndex);
    return node.isOrbelSwitch() && record != nullptr ? std::to_string(record->LinkWidthSup) : "-";
  }

  void printLink(const Link& link) {
    const auto peer = places_.find(link.node);
    out_ << "link\t" << (peer != places_.end() ? std::to_string(peer->second) : "-") << "\t"
         << unsigned{link.port} << "\t" << unsigned{link.width.value_or(0)} << "\t"
         << unsigned{link.speed.value_or(0)} << "\t" << unsigned{link.speedExt.value_or(0)} << "\n";
  }

  template <class Record>
  std::string answerOf(std::uint32_t index, const std::map<std::uint32_t, AbsentRecords>& absent) const {
    if (snapshot_.discovered.records.find<Record>(index) != nullptr) return "answers";
    const auto records = absent.find(index);
    if (records == absent.end()) return std::string(kNotSupported);
    const auto reason = records->second.find(std::string(kRecordName<Record>));
    return reason != records->second.end() ? answerFor(reason->second) : std::string(kNotSupported);
  }
  template <class Record>
  std::string answerOf(const IBNode& node) const {
    return answerOf<Record>(node.recordIndex, snapshot_.absentOnNodes);
  }
  template <class Record>
  std::string answerOf(const IBPort& port) const {
    return answerOf<Record>(port.recordIndex, snapshot_.absentOnPorts);
  }

  const Snapshot& snapshot_;
  const ModelSet& set_;
  std::unordered_map<std::string_view, std::size_t> places_;  // of nodes, by name
  BlockEmitter out_;
};

}  // namespace

std::string answerFor(std::string_view reason) {
  constexpr std::string_view kStatus = "status ";
  constexpr std::uint64_t kMostStatus = 0x7fff;
  if (reason.starts_with(kStatus)) {
    const auto status = parseUnsigned(reason.substr(kStatus.size()));
    if (status && *status > 0 && *status <= kMostStatus) return hexText(*status, 4);
  }
  const bool isSilent = reason == "timed out" || reason.ends_with("had stopped answering");
  return isSilent ? "silent" : std::string(kNotSupported);
}

void printServedFile(SectionStream& out, const Snapshot& snapshot, const ModelSet& set,
                     const AttributeLayouts& told) {
  ServedFile(snapshot, set, out).print(told);
}

}  // namespace siminfo
