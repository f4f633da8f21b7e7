#include "siminfo/verify/own_text.h"

#include <algorithm>

#include "siminfo/verify/file_words.h"
#include "siminfo/verify/rules.h"

namespace siminfo {

/// The line of a frame that holds no block; it may name the node.
OwnText::OwnLine OwnText::diagnostic(std::string line, const std::string& calledAs) {
  constexpr std::string_view kBeforeName = "node=";
  const std::size_t at = line.find(std::string(kBeforeName) + calledAs);
  if (at == std::string::npos) return {{std::move(line)}};
  const std::size_t name = at + kBeforeName.size();
  return {{line.substr(0, name)}, true, line.substr(name + calledAs.size())};
}

OwnText::OwnText(const std::string& name, const FoundSection& model, const Expectation& expectation,
                 const NodeFileForm& form) {
  const std::string deviceClass = nodeClass(expectation.facts().node);
  const std::string calledAs(expectation.facts().calledAs);
  for (std::size_t i = 0; i < model.frames.size(); ++i) {
    const std::string_view method = rules()[i].frame;
    OwnFrame& own = frames_.emplace_back(OwnFrame{frameHead(name, deviceClass, method), {}, false});
    const FoundFrame& found = model.frames[i];
    if (found.frame == nullptr || found.fault) continue;
    own.isKnown = true;
    const FramePlan plan = expectation.plan(method);
    if (plan.carriage != Carriage::kCarried) {
      for (std::string line : std::vector<std::string>(found.frame->body.begin(), found.frame->body.end())) {
        if (plan.carriage == Carriage::kRefused && form.missing == Missing::kError && line.starts_with("// "))
          line.replace(0, 3, "#error ");
        own.body.push_back(diagnostic(std::move(line), calledAs));
      }
    } else if (hasExactForm(method) && !form.isBuildable) {
      for (ExpectedLine& line : exactLines(method, found.frame->body)) own.body.push_back({std::move(line)});
    } else {
      for (const std::string_view line : found.frame->body) own.body.push_back({{std::string(line)}});
    }
  }
}

bool OwnText::OwnLine::matches(std::string_view found, const std::string& nodeName) const {
  if (!isNamed) return line.matches(found);
  const std::size_t begin = line.text.size();
  return found.size() == begin + nodeName.size() + behindName.size() && found.starts_with(line.text) &&
         found.substr(begin, nodeName.size()) == nodeName && found.ends_with(behindName);
}

std::vector<ExpectedLine> OwnText::body(std::size_t rule, const IBNode& node) const {
  std::vector<ExpectedLine> lines;
  for (const OwnLine& own : frames_[rule].body) {
    lines.push_back(own.line);
    if (own.isNamed) lines.back().text += node.name + own.behindName;
  }
  return lines;
}

bool OwnText::takeFrom(std::istream& file, const IBNode& node) const {
  std::string found;
  const auto next = [&] { return static_cast<bool>(std::getline(file, found)); };
  for (const OwnFrame& frame : frames_) {
    if (!frame.isKnown) return false;
    const bool isFirst = &frame == frames_.data();
    if (!isFirst && (!next() || !found.empty())) return false;
    if (!next() || found != frame.head) return false;
    const auto isRight = [&](const OwnLine& line) { return next() && line.matches(found, node.name); };
    if (!std::ranges::all_of(frame.body, isRight) || !next() || found != "}") return false;
  }
  return true;
}

}  // namespace siminfo
