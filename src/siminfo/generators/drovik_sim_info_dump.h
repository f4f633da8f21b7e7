#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <ostream>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "siminfo/core/drovik.h"
#include "siminfo/core/records/records.h"

namespace siminfo {

class SectionStream;

/// How generated source says that data is missing which the node must have.
enum class Missing : std::uint8_t {
  kError,    ///< an #error line, which stops the simulator's build
  kComment,  ///< a comment of the same words: the attribute is left to the simulator
};

/// What the body of a frame is.
enum class BodyKind : std::uint8_t {
  kBlock,    ///< restores the attribute
  kComment,  ///< a comment that says why there is no block
  kError,    ///< an #error line that says the same, and stops the simulator's build
};

/// What came of the frames of a run.
struct GenerationSummary {
  std::size_t nodes = 0;
  std::size_t blocks = 0;    ///< frames that restore their attribute
  std::size_t comments = 0;  ///< frames whose attribute does not apply to the node
  /// Frames whose data is missing, by their method; written as the run's Missing has it.
  std::map<std::string_view, std::size_t> missing;

  std::size_t missingFrames() const;
  std::size_t frames() const { return blocks + comments + missingFrames(); }
};

/// Writes the source from which a fabric simulator's nodes answer as the discovered ones did. Reads the
/// engine's state and changes nothing in it; keeps nothing between calls.
class SimInfoDumpCPP {
 public:
  /// One emitted member function of a node: its name, and the generator of its body.
  struct Frame {
    std::string_view method;
    void (SimInfoDumpCPP::*generate)(std::ostream& os, const IBNode& node) const;
  };

  /// The frames of every node, in the order in which they are written.
  static std::span<const Frame> Frames();

  /// The same frames, but for two whose exact text is no C++: the reduction class port info, which assigns an
  /// address with two "0x" in place of the GID, and the push counters, whose branches share one scope.
  static std::span<const Frame> BuildableFrames();

  /// The engine is borrowed and must outlive the generator. `frames` is one of the two above.
  explicit SimInfoDumpCPP(Drovik& drovik, std::span<const Frame> frames = Frames(),
                          Missing missing = Missing::kError)
      : drovik_(&drovik), frames_(frames), missing_(missing) {}

  /// Writes "<lower name>_generated.cpp" through the engine's file services, with every node of the
  /// sub-fabric whose GUID is in `guids`, or every node of it when `guids` is empty. Returns 0, or the status
  /// of a failed OpenFile, and then nothing was written. What fails later is reported by CloseFile.
  ///
  /// Names are written as they are given, and so is the name of this host: one that holds a line end, or ends
  /// in a backslash, turns what follows it into code. Whoever has them from devices asks nameFault() about
  /// each node's name and textFault() about its alternative name and hostName() first;
  /// siminfo/text/text_rules.h.
  int Generate(const std::string& name, const std::set<std::uint64_t>& guids) const;
  /// The same, and counts into `summary` what came of the frames.
  int Generate(const std::string& name, const std::set<std::uint64_t>& guids,
               GenerationSummary& summary) const;

  /// What a generator wrote. Diagnostics stand at column 0, and nothing else that a generator writes does.
  static BodyKind KindOf(std::string_view body);
  /// The dump's name as its file names have it.
  static std::string LowerName(std::string name);
  /// Whether a run over `guids` writes the node.
  static bool Selects(const std::set<std::uint64_t>& guids, const IBNode* node);
  /// The class, inside that of the dump, whose member functions restore the node.
  std::string GetDumpedNodeType(const IBNode& node) const;
  void PrintCopyright(std::ostream& os) const;
  void PrintIncludes(std::ostream& os, const std::string& lowerName) const;
  /// All that a file holds before its first node.
  void PrintHead(std::ostream& os, const std::string& lowerName) const;

  /// The node that a frame is generated from. It need not be in the fabric; its record indices are the
  /// store's.
  using NodeOfFrame = std::function<const IBNode&(const Frame&)>;
  /// Every frame of a node, as member functions of `className`, with one empty line between them.
  void PrintFrames(SectionStream& os, const std::string& className, const NodeOfFrame& nodeOf,
                   GenerationSummary& summary) const;

  // Each writes the body of one frame: an attribute block, or the one line that says why there is none. The
  // last line is left open, and the driver ends it.
  void GenerateNodeInfo(std::ostream& os, const IBNode& node) const;
  void GeneratePortInfo(std::ostream& os, const IBNode& node) const;
  void GenerateGMPCapabilityMask(std::ostream& os, const IBNode& node) const;
  void GenerateSMPCapabilityMask(std::ostream& os, const IBNode& node) const;
  void GenerateFWInfo(std::ostream& os, const IBNode& node) const;
  void GenerateHWInfo(std::ostream& os, const IBNode& node) const;
  void GenerateSWInfo(std::ostream& os, const IBNode& node) const;
  void GeneratePortInfoExtended(std::ostream& os, const IBNode& node) const;
  void GenerateExtendedNodeInfo(std::ostream& os, const IBNode& node) const;
  void GenerateExtendedPortInfo(std::ostream& os, const IBNode& node) const;
  void GenerateARInfo(std::ostream& os, const IBNode& node) const;
  void GenerateRouterInfo(std::ostream& os, const IBNode& node) const;
  void GenerateExtendedSwitchInfo(std::ostream& os, const IBNode& node) const;
  void GenerateSwitchInfo(std::ostream& os, const IBNode& node) const;
  void GeneratePrivateLFTInfo(std::ostream& os, const IBNode& node) const;
  void GenerateEnhancedCongestionInfo(std::ostream& os, const IBNode& node) const;
  void GenerateCongestionSwitchGeneralSettings(std::ostream& os, const IBNode& node) const;
  void GenerateVSReductionManagerClassPortInfo(std::ostream& os, const IBNode& node) const;
  void GenerateZYRReductionPortInfo(std::ostream& os, const IBNode& node) const;
  void GenerateZYRReductionInfo(std::ostream& os, const IBNode& node) const;
  void GenerateZYRReductionCounters(std::ostream& os, const IBNode& node) const;
  void GenerateZYRPushReductionCounters(std::ostream& os, const IBNode& node) const;

  // The two of these that differ among the buildable frames.
  void GenerateBuildableClassPortInfo(std::ostream& os, const IBNode& node) const;
  void GenerateBuildablePushCounters(std::ostream& os, const IBNode& node) const;

  // The layers below the per-port generators: the emitted loop over the simulated node's ports, which selects
  // a record by port number, and the lines of one record at a given indentation, whatever its width; negative
  // is none. Records are borrowed. Unless they say otherwise they leave their last line open. In place of a
  // record that is null stands an #error line, at column 0 whatever the indentation.

  /// The loop of a node that is no switch: one record for every port.
  void GeneratePortInfoCA(std::ostream& out, const SMP_PortInfo* record) const;
  void GeneratePortInfoSW(const IBNode& node, std::ostream& out, const SMP_PortInfo* zero,
                          const SMP_PortInfo* regular,
                          const std::map<unsigned char, SMP_PortInfo const*>& special) const;
  /// One branch of the switch's loop; begins on the line that opens the branch.
  void GeneratePortInfoSW(std::ostream& out, const SMP_PortInfo* record, int indent, bool capability_comments,
                          bool link_width) const;
  /// Lists the named bits that are set, as comments; begins by ending the line before.
  void PrintCapabilityMask(int indent, std::ostream& out, unsigned int mask, bool second_mask) const;

  void GenerateExtendedPortInfo(std::ostream& out, const SMP_KrelExtPortInfo* regular,
                                const std::map<unsigned char, SMP_KrelExtPortInfo const*>& special) const;
  /// Begins by ending the line before.
  void GenerateExtendedPortInfo(std::ostream& out, int indent, const SMP_KrelExtPortInfo* record) const;

  void GeneratePortInfoExtended(std::ostream& out, const SMP_PortInfoExtended* record) const;

  void GenerateZYRReductionPortInfo(std::ostream& out, const ZYRReductionPortInfo* normal,
                                    const std::map<std::uint8_t, const ZYRReductionPortInfo*>& special) const;
  /// Begins by ending the line before.
  void GenerateZYRReductionPortInfo(std::ostream& out, int indent, const ZYRReductionPortInfo* record) const;

  /// Counter sets by port number and counter index; `normal` holds one port.
  void GenerateZYRReductionCounters(
      std::ostream& out,
      const std::map<std::uint8_t, std::map<std::uint32_t, const ZYRReductionCounters*>>& normal,
      const std::map<std::uint8_t, std::map<std::uint32_t, const ZYRReductionCounters*>>& special) const;
  /// Begins by ending the line before.
  void GenerateZYRReductionCounters(
      std::ostream& out, int indent, std::uint8_t port,
      const std::map<std::uint32_t, const ZYRReductionCounters*>& counters) const;
  /// Begins by ending the line before.
  void GenerateZYRReductionCounters(std::ostream& out, int indent, const ZYRReductionCounters* record) const;

  void GenerateZYRPushReductionCounters(
      std::ostream& out, const ZYRPushReductionCounters* normal,
      const std::map<std::uint8_t, const ZYRPushReductionCounters*>& special) const;
  /// Begins by ending the line before.
  void GenerateZYRPushReductionCounters(std::ostream& out, int indent,
                                        const ZYRPushReductionCounters* record) const;

 private:
  const KvormExtendedInfo& Records() const { return drovik_->extendedInfo(); }
  bool IsSupported(const IBNode& node, SMPCapability bit) const {
    return drovik_->capabilityModule().IsSupportedSMPCapability(&node, bit);
  }
  /// Writes why the node has no reduction management and returns true, or writes nothing.
  bool RefusesReduction(std::ostream& os, const IBNode& node) const;
  /// The same for what is held per port, which asks for the class port info as well.
  bool RefusesPortReduction(std::ostream& os, const IBNode& node) const;
  /// The class port info of the node's reduction management, or null after the line that says why not.
  const IB_ClassPortInfo* FindReductionClassPortInfo(std::ostream& os, const IBNode& node) const;

  void PrintNode(SectionStream& os, const std::string& name, const IBNode& node,
                 GenerationSummary& summary) const;
  void FinishBody(SectionStream& os, std::size_t start, std::string_view method,
                  GenerationSummary& summary) const;

  Drovik* drovik_;
  std::span<const Frame> frames_;
  Missing missing_;
};

/// The year that the copyright notice ends with; `now` may be null.
int CopyrightYear(const std::tm* now);

}  // namespace siminfo
