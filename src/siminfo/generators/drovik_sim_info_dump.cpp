#include "siminfo/generators/drovik_sim_info_dump.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <locale>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/host_name.h"
#include "siminfo/core/section_stream.h"

namespace siminfo {
namespace {

// The order is the format's own: simulators' reviewers compare these files side by side.
constexpr auto kFrames = std::to_array<SimInfoDumpCPP::Frame>({
    {"setNodeInfo", &SimInfoDumpCPP::GenerateNodeInfo},
    {"setPortInfo", &SimInfoDumpCPP::GeneratePortInfo},
    {"setGMPCapability", &SimInfoDumpCPP::GenerateGMPCapabilityMask},
    {"setSMPCapability", &SimInfoDumpCPP::GenerateSMPCapabilityMask},
    {"setFWInfo", &SimInfoDumpCPP::GenerateFWInfo},
    {"setHWInfo", &SimInfoDumpCPP::GenerateHWInfo},
    {"setSWInfo", &SimInfoDumpCPP::GenerateSWInfo},
    {"setPortInfoExtended", &SimInfoDumpCPP::GeneratePortInfoExtended},
    {"setExtendedNodeInfo", &SimInfoDumpCPP::GenerateExtendedNodeInfo},
    {"setExtendedPortInfo", &SimInfoDumpCPP::GenerateExtendedPortInfo},
    {"setArInfo", &SimInfoDumpCPP::GenerateARInfo},
    {"setRouterInfo", &SimInfoDumpCPP::GenerateRouterInfo},
    {"setExtendedSwitchInfo", &SimInfoDumpCPP::GenerateExtendedSwitchInfo},
    {"setSwitchInfo", &SimInfoDumpCPP::GenerateSwitchInfo},
    {"setPrivateLftInfo", &SimInfoDumpCPP::GeneratePrivateLFTInfo},
    {"setEnhancedCongestionInfo", &SimInfoDumpCPP::GenerateEnhancedCongestionInfo},
    {"setCongestionSwitchGeneralSettings", &SimInfoDumpCPP::GenerateCongestionSwitchGeneralSettings},
    {"setVSReductionManagerClassPortInfo", &SimInfoDumpCPP::GenerateVSReductionManagerClassPortInfo},
    {"setZYRReductionPortInfo", &SimInfoDumpCPP::GenerateZYRReductionPortInfo},
    {"setZYRReductionInfo", &SimInfoDumpCPP::GenerateZYRReductionInfo},
    {"setZYRReductionCounters", &SimInfoDumpCPP::GenerateZYRReductionCounters},
    {"setZYRPushReductionCounters", &SimInfoDumpCPP::GenerateZYRPushReductionCounters},
});

/// Finished sections go to the file once this much is held: the system is asked rarely, and what it copies is
/// still in the cache. Measured as good from 64 to 256 KiB, and worse above.
constexpr std::size_t kWriteSize = 256UL * 1024;

constexpr std::string_view kError = "#error ";

constexpr int kFirstYear = 2024;
constexpr int kYearWithoutClock = 2025;

std::string_view bannerType(const IBNode& node) {
  switch (node.type) {
    case kSwitch:
      return "SW";
    case kRouter:
      return "RTR";
    case kChannelAdapter:
      return "CA";
    default:
      return "UNKNOWN";
  }
}

void printBanner(std::ostream& os, const IBNode& node) {
  BlockEmitter(os) << "\n\n"
                   << "// Node Type: " << bannerType(node) << (node.isSpecialNode() ? "(Special Node)" : "")
                   << ", Node GUID: 0x" << Hex{node.guid, 16} << ", Ports: " << node.numPorts << "\n"
                   << "// Name: '" << node.name << "', Alt: '" << node.getAlternativeName() << "\n";
}

void passOn(SectionStream& sections, std::ostream& file) {
  file.write(sections.text().data(), static_cast<std::streamsize>(sections.text().size()));
  sections.clearText();
}

}  // namespace

int CopyrightYear(const std::tm* now) { return now != nullptr ? now->tm_year + 1900 : kYearWithoutClock; }

std::size_t GenerationSummary::missingFrames() const {
  std::size_t all = 0;
  for (const auto& [method, frames] : missing) all += frames;
  return all;
}

std::span<const SimInfoDumpCPP::Frame> SimInfoDumpCPP::Frames() { return kFrames; }

std::span<const SimInfoDumpCPP::Frame> SimInfoDumpCPP::BuildableFrames() {
  static constexpr auto kBuildable = [] {
    auto frames = kFrames;
    for (const Frame& replaced :
         {Frame{"setVSReductionManagerClassPortInfo", &SimInfoDumpCPP::GenerateBuildableClassPortInfo},
          Frame{"setZYRPushReductionCounters", &SimInfoDumpCPP::GenerateBuildablePushCounters}})
      *std::ranges::find(frames, replaced.method, &Frame::method) = replaced;
    return frames;
  }();
  return kBuildable;
}

int SimInfoDumpCPP::Generate(const std::string& name, const std::set<std::uint64_t>& guids) const {
  GenerationSummary summary;
  return Generate(name, guids, summary);
}

int SimInfoDumpCPP::Generate(const std::string& name, const std::set<std::uint64_t>& guids,
                             GenerationSummary& summary) const {
  const std::string lowerName = LowerName(name);
  const OutputControl::Identity identity(lowerName + "_generated.cpp", OutputControl::kGeneratedSource);
  std::ofstream file;
  const int status = drovik_->OpenFile("Simulator generated code", identity, file, false, nullptr);
  if (status != 0) return status;

  SectionStream os;
  PrintHead(os, lowerName);
  for (const auto& [key, node] : drovik_->fabric().nodeByName) {
    if (!Selects(guids, node)) continue;
    PrintNode(os, name, *node, summary);
    if (os.text().size() >= kWriteSize) passOn(os, file);
  }
  passOn(os, file);
  drovik_->CloseFile(file, "//");
  return status;
}

std::string SimInfoDumpCPP::LowerName(std::string name) {
  for (char& character : name) character = std::tolower(character, std::locale::classic());
  return name;
}

bool SimInfoDumpCPP::Selects(const std::set<std::uint64_t>& guids, const IBNode* node) {
  return node != nullptr && node->inSubFabric && (guids.empty() || guids.contains(node->guid));
}

std::string SimInfoDumpCPP::GetDumpedNodeType(const IBNode& node) const {
  if (node.type == kSwitch) return "SW";
  if (node.type == kRouter) return "RTR";
  if (node.isSpecialNode()) return node.getSpecialNodeType() == 1 ? "AN" : "Unknown";
  return "HCA";
}

void SimInfoDumpCPP::PrintCopyright(std::ostream& os) const {
  const std::time_t now = std::time(nullptr);
  // clang-format off
  BlockEmitter(os) <<
      "/*\n"
      "* SPDX-FileCopyrightText: Copyright (c) " << kFirstYear << "-" << CopyrightYear(std::localtime(&now)) <<
                                                " The siminfo authors. All rights reserved.\n"
      "* SPDX-License-Identifier: LicenseRef-siminfo-Proprietary\n"
      "*\n"
      "* This file was generated from the state of a discovered fabric and may describe\n"
      "* the equipment of that fabric's owner. The siminfo authors and their licensors\n"
      "* retain all intellectual property and proprietary rights in and to this file.\n"
      "* Any use, reproduction, disclosure or distribution of this file without an\n"
      "* express license agreement from the siminfo authors is strictly prohibited.\n"
      "* The file is provided as it is, without warranty of any kind.\n"
      "*/\n"
      "\n";
  // clang-format on
}

void SimInfoDumpCPP::PrintIncludes(std::ostream& os, const std::string& lowerName) const {
  BlockEmitter(os) << "#include \"" << lowerName << ".h\"\n"
                   << "#include \"../../core/node.h\"\n"
                   << "#include <infiniband/drovik/drovik_fabric.h>\n";
}

void SimInfoDumpCPP::PrintHead(std::ostream& os, const std::string& lowerName) const {
  PrintCopyright(os);
  drovik_->fabric().WriteFileHeader(os, "//");
  BlockEmitter(os) << "// Host Name: " << hostName() << "\n\n";
  PrintIncludes(os, lowerName);
}

void SimInfoDumpCPP::PrintNode(SectionStream& os, const std::string& name, const IBNode& node,
                               GenerationSummary& summary) const {
  printBanner(os, node);
  PrintFrames(
      os, name + "::" + GetDumpedNodeType(node), [&node](const Frame&) -> const IBNode& { return node; },
      summary);
}

void SimInfoDumpCPP::PrintFrames(SectionStream& os, const std::string& className, const NodeOfFrame& nodeOf,
                                 GenerationSummary& summary) const {
  const std::string head = "void " + className + "::";
  BlockEmitter out(os);
  for (const Frame& frame : frames_) {
    if (&frame != &frames_.front()) out << "\n";
    out << head << frame.method << "() {\n";
    const std::size_t start = os.text().size();
    (this->*frame.generate)(os, nodeOf(frame));
    FinishBody(os, start, frame.method, summary);
    out << "\n}\n";
  }
  ++summary.nodes;
}

BodyKind SimInfoDumpCPP::KindOf(std::string_view body) {
  if (body.starts_with(kError)) return BodyKind::kError;
  return body.starts_with("//") ? BodyKind::kComment : BodyKind::kBlock;
}

/// Counts what the body that begins at `start` is, and gives what is missing its form.
void SimInfoDumpCPP::FinishBody(SectionStream& os, std::size_t start, std::string_view method,
                                GenerationSummary& summary) const {
  switch (KindOf(os.text().substr(start))) {
    case BodyKind::kError:
      ++summary.missing[method];
      if (missing_ == Missing::kComment) os.replace(start, kError.size(), "// ");
      break;
    case BodyKind::kComment:
      ++summary.comments;
      break;
    case BodyKind::kBlock:
      ++summary.blocks;
      break;
  }
}

}  // namespace siminfo
