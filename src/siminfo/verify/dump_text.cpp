#include "siminfo/verify/dump_text.h"

#include <algorithm>

namespace siminfo {
namespace {

constexpr std::string_view kBanner = "// Node Type: ";
constexpr std::string_view kName = "// Name: '";

/// "void Fab1::SW::setNodeInfo() {" to "setNodeInfo"; empty for any other line.
std::string_view methodOf(std::string_view line) {
  if (!line.starts_with("void ") || !line.ends_with("() {")) return {};
  line.remove_suffix(4);
  const std::size_t at = line.rfind("::");
  return at != std::string_view::npos ? line.substr(at + 2) : std::string_view();
}

std::string nameLine(const IBNode& node) {
  return std::string(kName) + node.name + "', Alt: '" + node.alternativeName;
}

/// The GUID as the banner's first line has it.
bool namesGuid(std::string_view banner, std::uint64_t guid) {
  constexpr std::string_view kGuid = ", Node GUID: 0x";
  const std::size_t at = banner.find(kGuid);
  if (at == std::string_view::npos) return false;
  std::uint64_t value = 0;
  for (const char digit : banner.substr(at + kGuid.size(), 16))
    value = value << 4U | static_cast<std::uint64_t>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
  return value == guid;
}

bool isSectionOf(const DumpSection& section, const IBNode& node) {
  const std::size_t lineEnd = section.banner.find('\n');
  return lineEnd != std::string_view::npos && section.banner.substr(lineEnd + 1) == nameLine(node) &&
         namesGuid(section.banner, node.guid);
}

}  // namespace

FrameText DumpFrame::kind() const {
  if (body.starts_with("#error")) return FrameText::kError;
  if (body.starts_with("//")) return FrameText::kComment;
  // An address with two "0x" where the GID belongs, and names declared twice in one scope in front of a pack
  // line for a record that is not there.
  const bool isUncompilable = (method == "setVSReductionManagerClassPortInfo" &&
                               body.find("mad_buffer.RedirectGID = 0x0x") != std::string_view::npos) ||
                              (method == "setZYRPushReductionCounters" &&
                               body.find("SMP_KrelExtPortInfo_pack(") != std::string_view::npos);
  return isUncompilable ? FrameText::kUncompilable : FrameText::kBlock;
}

DumpText::DumpText(std::string text) : text_(std::move(text)) {
  const std::string_view all = text_;
  head_ = all;
  DumpFrame* open = nullptr;
  std::size_t openAt = 0;
  std::size_t bodyAt = 0;
  std::size_t lineNumber = 0;
  for (std::size_t at = 0; at < all.size();) {
    const std::size_t end = std::min(all.find('\n', at), all.size());
    const std::string_view line = all.substr(at, end - at);
    ++lineNumber;
    if (line.starts_with(kBanner)) {
      if (sections_.empty()) head_ = all.substr(0, at);
      const std::size_t second = all.find('\n', end + 1);
      sections_.push_back({all.substr(at, second - at), {}});
      open = nullptr;
    } else if (const std::string_view method = methodOf(line); !method.empty() && !sections_.empty()) {
      open = &sections_.back().frames.emplace_back(DumpFrame{method, lineNumber, 1, line, {}});
      openAt = at;
      bodyAt = end + 1;
    } else if (open != nullptr) {
      open->body = all.substr(bodyAt, at - bodyAt);
      open->text = all.substr(openAt, end - openAt);
      ++open->lines;
      if (line == "}") open = nullptr;
    }
    at = end + 1;
  }
}

std::vector<const DumpSection*> DumpText::sectionsOf(const std::vector<const IBNode*>& nodes) const {
  std::vector<const DumpSection*> found;
  auto from = sections_.begin();
  for (const IBNode* node : nodes) {
    const auto at = std::find_if(from, sections_.end(),
                                 [&](const DumpSection& section) { return isSectionOf(section, *node); });
    found.push_back(at != sections_.end() ? &*at : nullptr);
    if (at != sections_.end()) from = at + 1;
  }
  return found;
}

}  // namespace siminfo
