#include "siminfo/verify/dump_text.h"

#include <algorithm>

namespace siminfo {
namespace {

bool isHead(std::string_view line) { return line.starts_with("void "); }
bool isType(std::string_view line) { return line.starts_with("// Node Type: "); }
bool isModel(std::string_view line) { return line.starts_with("// Model: "); }
bool isName(std::string_view line) { return line.starts_with("// Name: '"); }
bool opensSection(std::string_view line) { return isType(line) || isName(line) || isModel(line); }
bool isEnd(std::string_view line) { return line.starts_with("// End of file"); }

/// "void Fab1::SW::setNodeInfo() {" to "setNodeInfo"; empty for any other line.
std::string_view methodOf(std::string_view head) {
  if (!isHead(head) || !head.ends_with("() {")) return {};
  head.remove_suffix(4);
  const std::size_t at = head.rfind("::");
  return at != std::string_view::npos ? head.substr(at + 2) : std::string_view();
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// The banner among the lines in front of a frame. Where one of its lines was taken out or cannot be made out
/// it is the other one, with the line beside it.
TextLines findBanner(TextLines lines) {
  const auto last = [&](bool (*isIt)(std::string_view)) {
    const auto found = std::find_if(lines.rbegin(), lines.rend(), isIt);
    return static_cast<std::size_t>(lines.rend() - found);  // one past it, or 0
  };
  if (const std::size_t model = last(isModel); model > 0) return lines.subspan(model - 1, 1);
  const std::size_t type = last(isType);
  const std::size_t name = last(isName);
  if (type > 0) {
    const std::size_t end = name > type ? name : std::min(type + 1, lines.size());
    return lines.subspan(type - 1, end - (type - 1));
  }
  if (name == 0) return lines.last(0);
  const std::size_t first = name > 1 && !lines[name - 2].empty() ? name - 2 : name - 1;
  return lines.subspan(first, name - first);
}

}  // namespace

DumpText::DumpText(std::string text) : text_(std::move(text)), lines_(linesOf(text_)) {
  std::size_t from = 0;  // the first line that is in no part yet
  for (std::size_t at = 0; at < lines_.size();) {
    if (!isHead(lines_[at])) {
      ++at;
      continue;
    }
    const TextLines before = between(from, at);
    // Frames of another node may follow without a banner, which then is what is missing.
    const bool isAnother =
        methodOf(lines_[at]) == "setNodeInfo" && before.size() > 1 && before[0].empty() && before[1].empty();
    if (sections_.empty() || isAnother || std::ranges::any_of(before, opensSection))
      from = openSection(from, at);
    at = from = addFrame(from, at);
  }
  tail_ = between(from, lines_.size());
}

std::size_t DumpText::openSection(std::size_t from, std::size_t head) {
  const TextLines banner = findBanner(between(from, head));
  const std::size_t end = numberOf(banner) - 1 + banner.size();
  sections_.push_back({between(from, end), banner, {}});
  return end;
}

std::size_t DumpText::addFrame(std::size_t from, std::size_t head) {
  const auto endsFrame = [](std::string_view line) {
    return line == "}" || isHead(line) || opensSection(line) || isEnd(line);
  };
  const auto first = lines_.begin() + static_cast<std::ptrdiff_t>(head) + 1;
  auto end = static_cast<std::size_t>(std::find_if(first, lines_.end(), endsFrame) - lines_.begin());
  const bool isClosed = end < lines_.size() && lines_[end] == "}";
  while (!isClosed && end > head + 1 && lines_[end - 1].empty()) --end;
  sections_.back().frames.push_back({between(from, head), head + 1, lines_[head], methodOf(lines_[head]),
                                     between(head + 1, end), isClosed});
  return isClosed ? end + 1 : end;
}

}  // namespace siminfo
