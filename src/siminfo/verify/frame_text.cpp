#include "siminfo/verify/frame_text.h"

#include <algorithm>
#include <array>

#include "siminfo/verify/line_comparison.h"

namespace siminfo {
namespace {

/// How a frame's exact form is made into C++: the line that tells it, which is left out, and what becomes of
/// the others.
struct ExactForm {
  std::string_view method;
  bool (*isImpossible)(std::string_view line);
  std::string (*compilable)(std::string_view line);
  std::string_view unproven;
};

/// The address of the GID, with two "0x" before it, where the GID belongs.
bool isGidAddress(std::string_view line) {
  constexpr std::string_view kStart = "    mad_buffer.RedirectGID = 0x0x";
  return line.starts_with(kStart) && line.size() > kStart.size() + 1 &&
         line.find_first_not_of("0123456789abcdef", kStart.size()) == line.size() - 1 && line.ends_with(';');
}
std::string unchanged(std::string_view line) { return std::string(line); }

/// The pack line of another attribute, behind a switch whose branches declare the same names in one scope.
bool isStrayPack(std::string_view line) {
  return line ==
         "        SMP_KrelExtPortInfo_pack(&mad_buffer, "
         "reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));";
}
/// Gives each branch a scope of its own, and keeps every line where it is.
std::string scopedBranch(std::string_view line) {
  std::string text(line);
  if (line.starts_with("        case ") || line == "        default:") return text + " {";
  if (line == "            break;") return text + " }";
  if (line == "        }") return text + " }";  // the last branch ends with the switch
  return text;
}

constexpr std::array kExactForms{
    ExactForm{"setVSReductionManagerClassPortInfo", isGidAddress, unchanged, "RedirectGID"},
    ExactForm{"setZYRPushReductionCounters", isStrayPack, scopedBranch, ""},
};

/// The exact form that the frame is in, or null.
const ExactForm* exactFormOf(const DumpFrame& frame) {
  const auto* form = std::ranges::find(kExactForms, frame.method, &ExactForm::method);
  return form != kExactForms.end() && std::ranges::count_if(frame.body, form->isImpossible) == 1 ? form
                                                                                                 : nullptr;
}

std::string_view withoutSpaces(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  return line;
}

/// The comment that begins on the line, in either way of writing it; empty when none does.
std::string_view commentIn(std::string_view line) {
  return line.substr(std::min({line.find("//"), line.find("/*"), line.size()}));
}

/// The code on the line.
std::string_view codeIn(std::string_view line) {
  return withoutSpaces(line.substr(0, line.size() - commentIn(line).size()));
}

Difference atLine(const DumpFrame& frame, std::size_t index, std::string what, std::string expected) {
  return {"line " + std::to_string(frame.line + 1 + index), std::move(what), std::move(expected),
          wordsFor(frame.body.subspan(index, 1))};
}

/// Text that would take the frames behind it along: a directive, a brace too many, a line that goes on in the
/// next, a comment that does.
std::optional<Difference> escapeIn(const DumpFrame& frame) {
  int depth = 0;
  for (std::size_t i = 0; i < frame.body.size(); ++i) {
    const std::string_view line = frame.body[i];
    if (withoutSpaces(line).starts_with('#')) return atLine(frame, i, "a directive", "none in a block");
    if (line.ends_with('\\')) return atLine(frame, i, "a line", "one that ends where it ends");
    if (commentIn(line).starts_with("/*")) return atLine(frame, i, "a comment", "none of this kind");
    const std::string_view code = codeIn(line);
    for (const char character : code) depth += character == '{' ? 1 : character == '}' ? -1 : 0;
    if (depth < 0) return atLine(frame, i, "a brace", "one that closes another");
  }
  if (depth == 0) return std::nullopt;
  return Difference{"line " + std::to_string(frame.line + 1 + frame.body.size()), "the braces",
                    "each of them closed", std::to_string(depth) + " open"};
}

}  // namespace

bool hasTwoForms(std::string_view method) {
  return std::ranges::find(kExactForms, method, &ExactForm::method) != kExactForms.end();
}

UnitFrame unitFrame(const DumpFrame& frame) {
  const ExactForm* exact = exactFormOf(frame);
  UnitFrame unit{frame.method,     frame.line, frame.body.size() + 2, std::string(frame.head),
                 exact != nullptr, {}};
  if (exact != nullptr) unit.unproven = exact->unproven;
  for (const std::string_view line : frame.body) {
    unit.text += '\n';
    if (exact == nullptr)
      unit.text += line;
    else if (!exact->isImpossible(line))
      unit.text += exact->compilable(line);
  }
  unit.text += "\n}";
  return unit;
}

std::vector<Difference> bodyFaults(const DumpFrame& frame, const FramePlan& plan) {
  if (plan.carriage != Carriage::kCarried) {
    const ExpectedLine expected{plan.line};
    return differencesOf(compareLines({&expected, 1}, frame.body), frame.line + 1, "the body");
  }
  const bool isBlock = std::ranges::any_of(frame.body, [](std::string_view line) {
    const std::string_view code = codeIn(line);
    return !code.empty() && !code.starts_with('#');
  });
  if (!isBlock)
    return {{"line " + std::to_string(frame.line + 1), "the body", "the discovered values",
             wordsFor(frame.body)}};
  if (auto escape = escapeIn(frame)) return {std::move(*escape)};
  return {};
}

std::vector<Difference> commentFaults(const DumpFrame& frame, const std::vector<std::string>& expected) {
  std::vector<ExpectedLine> expectedLines;
  expectedLines.reserve(expected.size());
  for (const std::string& line : expected) expectedLines.push_back({line});
  std::vector<std::string_view> found;
  std::vector<std::size_t> lines;
  for (std::size_t i = 0; i < frame.body.size(); ++i) {
    const std::string_view comment = commentIn(frame.body[i]);
    if (comment.empty()) continue;
    found.push_back(comment);
    lines.push_back(frame.line + 1 + i);
  }
  lines.push_back(lines.empty() ? frame.line : lines.back() + 1);  // behind the last

  std::vector<Difference> differences;
  for (const LineChange& change : compareLines(expectedLines, found))
    differences.push_back(differencesOf({&change, 1}, lines[change.at] - change.at, "the comments").front());
  return differences;
}

}  // namespace siminfo
