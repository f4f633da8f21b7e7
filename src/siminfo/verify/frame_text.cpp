#include "siminfo/verify/frame_text.h"

#include <algorithm>
#include <array>

#include "siminfo/verify/line_comparison.h"

namespace siminfo {
namespace {

/// How a frame's exact form is made into C++: one line, which tells it, is left out, and others change.
struct ExactForm {
  std::string_view method;
  ExpectedLine impossible;
  std::string (*compilable)(std::string_view line);
  std::string_view unproven;
  bool (*isOfBuildable)(std::string_view line);  ///< stands in the buildable form, and there alone
  std::vector<ExpectedLine> (*ofBuildable)(TextLines buildable, const ExpectedLine& impossible);
};

bool isHexadecimal(std::string_view part) {
  return !part.empty() && part.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}
std::string unchanged(std::string_view line) { return std::string(line); }
bool isGidByte(std::string_view line) { return line.starts_with("    mad_buffer.RedirectGID["); }

/// Gives each branch a scope of its own, and keeps every line where it is.
std::string scopedBranch(std::string_view line) {
  std::string text(line);
  if (line.starts_with("        case ") || line == "        default:") return text + " {";
  if (line == "            break;") return text + " }";
  if (line == "        }") return text + " }";  // the last branch ends with the switch
  return text;
}

bool isScopedBranch(std::string_view line) { return line.ends_with(": {"); }

/// One line in place of those of the GID's bytes.
std::vector<ExpectedLine> withAddress(TextLines buildable, const ExpectedLine& address) {
  std::vector<ExpectedLine> lines;
  for (const std::string_view line : buildable) {
    if (!isGidByte(line))
      lines.push_back({std::string(line)});
    else if (lines.empty() || lines.back().text != address.text)
      lines.push_back(address);
  }
  return lines;
}

/// Branches without scopes, and the pack line before the loop's end.
std::vector<ExpectedLine> withoutScopes(TextLines buildable, const ExpectedLine& pack) {
  std::vector<ExpectedLine> lines;
  bool isInScope = false;
  for (const std::string_view line : buildable) {
    if (isScopedBranch(line)) {
      isInScope = true;
      lines.push_back({std::string(line.substr(0, line.size() - 2))});
    } else if (isInScope && line == "        }") {
      isInScope = false;
    } else {
      lines.push_back({std::string(line)});
    }
  }
  if (!lines.empty()) lines.insert(lines.end() - 1, pack);
  return lines;
}

const std::array kExactForms{
    // The address of the GID, with two "0x" before it, where the GID belongs.
    ExactForm{"setVSReductionManagerClassPortInfo",
              {"    mad_buffer.RedirectGID = 0x0x", isHexadecimal, ";"},
              unchanged,
              "RedirectGID",
              isGidByte,
              withAddress},
    // The pack line of another attribute, behind a switch whose branches declare the same names in one scope.
    ExactForm{"setZYRPushReductionCounters",
              {"        SMP_KrelExtPortInfo_pack(&mad_buffer, "
               "reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));"},
              scopedBranch,
              "",
              isScopedBranch,
              withoutScopes},
};

/// The forms of the frame, or null when it has but one.
const ExactForm* formsOf(std::string_view method) {
  const auto* form = std::ranges::find(kExactForms, method, &ExactForm::method);
  return form != kExactForms.end() ? form : nullptr;
}

bool isExact(const DumpFrame& frame, const ExactForm& form) {
  return std::ranges::count_if(frame.body,
                               [&](std::string_view line) { return form.impossible.matches(line); }) == 1;
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

/// A frame of two forms must be in one that is wanted.
std::optional<Difference> formFault(const DumpFrame& frame, FrameForm wanted) {
  const ExactForm* forms = formsOf(frame.method);
  if (forms == nullptr) return std::nullopt;
  const std::string line = forms->impossible.words();
  if (isExact(frame, *forms)) {
    if (wanted != FrameForm::kBuildable) return std::nullopt;
    return Difference{"", "the buildable form", "no line " + line, "it"};
  }
  const bool isBuildable = std::ranges::any_of(frame.body, forms->isOfBuildable);
  if (wanted == FrameForm::kBuildable || (wanted == FrameForm::kEither && isBuildable)) return std::nullopt;
  return Difference{"", "the exact form", line + " once",
                    isBuildable ? "the buildable form" : "another line"};
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

/// Every counter set has this counter on two lines, of which the second one alone counts.
std::optional<Difference> twiceFault(const DumpFrame& frame) {
  std::vector<std::size_t> lines;
  for (std::size_t i = 0; i < frame.body.size(); ++i) {
    if (codeIn(frame.body[i]).starts_with("mad_buffer.generated_mc_read_resp_pkt = ")) lines.push_back(i);
  }
  for (std::size_t i = 0; i < lines.size(); i += 2) {
    if (i + 1 == lines.size() || frame.body[lines[i]] != frame.body[lines[i + 1]])
      return atLine(frame, lines[i], "a counter", "the same once more in its block");
  }
  return std::nullopt;
}

}  // namespace

bool hasExactForm(std::string_view method) { return formsOf(method) != nullptr; }

std::vector<ExpectedLine> exactLines(std::string_view method, TextLines buildable) {
  const ExactForm* forms = formsOf(method);
  return forms->ofBuildable(buildable, forms->impossible);
}

UnitFrame unitFrame(const DumpFrame& frame) {
  const ExactForm* exact = formsOf(frame.method);
  if (exact != nullptr && !isExact(frame, *exact)) exact = nullptr;
  UnitFrame unit{frame.method,     frame.line, frame.body.size() + 2, std::string(frame.head),
                 exact != nullptr, {}};
  if (exact != nullptr) unit.unproven = exact->unproven;
  for (const std::string_view line : frame.body) {
    unit.text += '\n';
    if (exact == nullptr)
      unit.text += line;
    else if (!exact->impossible.matches(line))
      unit.text += exact->compilable(line);
  }
  unit.text += "\n}";
  return unit;
}

std::vector<Difference> bodyFaults(const DumpFrame& frame, const FramePlan& plan, FrameForm form) {
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
  if (auto fault = formFault(frame, form)) return {std::move(*fault)};
  return {};
}

std::vector<Difference> lineFaults(const DumpFrame& frame, const std::vector<std::string>& comments) {
  std::vector<Difference> faults = commentFaults(frame, comments);
  if (auto fault = twiceFault(frame); fault && faults.empty()) faults.push_back(std::move(*fault));
  return faults;
}

}  // namespace siminfo
