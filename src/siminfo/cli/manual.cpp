#include "siminfo/cli/manual.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace siminfo {
namespace {

/// The text as it is printed, whatever troff takes its characters for.
std::string escaped(std::string_view text) {
  std::string out;
  for (const char character : text) {
    const bool beginsLine = out.empty() || out.back() == '\n';
    if (beginsLine && (character == '.' || character == '\'')) out += "\\&";
    if (character == '\\')
      out += "\\e";
    else if (character == '-')
      out += "\\-";
    else
      out += character;
  }
  return out;
}

std::string upper(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
  return text;
}

std::string heading(const std::string& page, int section, const ManualHead& head) {
  return ".TH \"" + upper(page) + "\" \"" + std::to_string(section) + "\" \"" + head.date + "\" \"" +
         head.program + "\"\n";
}

std::string section(const std::string& title) { return ".SH " + title + "\n"; }

std::string nameSection(const std::string& page, std::string description) {
  description[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(description[0])));
  if (description.ends_with('.')) description.pop_back();
  return section("NAME") + escaped(page) + " \\- " + escaped(description) + "\n";
}

std::string bold(std::string_view text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + escaped(text) + "\\fR"; }

std::string synopsis(const Command& command) {
  std::string text = section("SYNOPSIS") + bold("siminfo " + command.name()) + " [" + italic("OPTIONS") + "]";
  for (const OptionLook& look : command.looks()) {
    if (!look.isArgument()) continue;
    const std::string name = italic(look.names[0]) + (look.isRepeated ? "..." : "");
    text += " " + (look.isRequired ? name : "[" + name + "]");
  }
  return text + "\n";
}

std::string sentence(const char* head, const std::vector<std::string>& names, const char* tail) {
  if (names.empty()) return {};
  std::string text = head;
  for (std::size_t i = 0; i < names.size(); ++i) text += (i > 0 ? ", " : "") + bold(names[i]);
  return text + tail + "\n";
}

std::string optionEntry(const OptionLook& look) {
  std::string text = ".TP\n";
  for (std::size_t i = 0; i < look.names.size(); ++i) text += (i > 0 ? ", " : "") + bold(look.names[i]);
  if (!look.valueName.empty()) text += " " + italic(look.valueName);
  text += "\n" + escaped(look.help) + ".\n";
  if (!look.defaultText.empty()) text += "The default is " + bold(look.defaultText) + ".\n";
  if (look.isRequired) text += "Must be given.\n";
  text += sentence("Needs ", look.needs, ".");
  return text + sentence("Cannot be given together with ", look.excludes, ".");
}

/// A footer: sentences, of which the last may be an example.
std::string footerSections(const std::string& footer) {
  const std::size_t at = footer.find("Example: ");
  std::string text = escaped(footer.substr(0, at));
  if (at == std::string::npos) return text + "\n";
  return text + section("EXAMPLES") + ".EX\n" + escaped(footer.substr(at + 9)) + "\n.EE\n";
}

std::string commandReference(const std::string& name, const char* comma) {
  return ".BR siminfo\\-" + name + " (1)" + comma + "\n";
}

// Markdown.

/// Code spans and what is emphasized are bold, and of a link only the words are left.
std::string inlineText(std::string_view text) {
  std::string out;
  bool isCode = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '`') {
      out += isCode ? "\\fR" : "\\fB";
      isCode = !isCode;
    } else if (!isCode && text.substr(i, 2) == "**") {
      ++i;
    } else if (!isCode && text.substr(i, 2) == "](") {
      i = std::min(text.find(')', i), text.size() - 1);
    } else if (isCode || text[i] != '[' || text.find("](", i) == std::string_view::npos) {
      out += out.empty() ? escaped(text.substr(i, 1)) : escaped("x" + std::string(1, text[i])).substr(1);
    }
  }
  return out;
}

std::vector<std::string> cells(std::string_view row) {
  std::vector<std::string> all(1);
  bool isCode = false;
  for (const char character : row.substr(1)) {
    if (character == '`') isCode = !isCode;
    if (character == '|' && !isCode)
      all.emplace_back();
    else
      all.back() += character;
  }
  all.pop_back();  // behind the last line
  for (std::string& cell : all) {
    const std::size_t from = cell.find_first_not_of(' ');
    cell = from == std::string::npos ? "" : cell.substr(from, cell.find_last_not_of(' ') - from + 1);
  }
  return all;
}

/// One line of Markdown after the other.
class FormatPage {
 public:
  void add(std::string_view line) {
    if (line.starts_with("```")) {
      text_ += isCode_ ? ".EE\n" : ".PP\n.EX\n";
      isCode_ = !isCode_;
    } else if (isCode_) {
      text_ += escaped(line) + "\n";
    } else if (line.starts_with("## ")) {
      text_ += section(upper(std::string(line.substr(3))));
      isBegun_ = false;
    } else if (line.starts_with("| ")) {
      addRow(cells(line));
    } else if (line.starts_with("- ")) {
      text_ += ".IP \\(bu 2\n" + inlineText(line.substr(2)) + "\n";
    } else if (line.empty()) {
      isNew_ = true;
      columns_.clear();
    } else if (!line.starts_with("# ") && !line.starts_with("|-") && !line.starts_with("<!--")) {
      const std::size_t from = line.find_first_not_of(' ');
      if (isNew_ && isBegun_ && from == 0) text_ += ".PP\n";
      isNew_ = false;
      isBegun_ = true;
      text_ += inlineText(line.substr(from)) + "\n";
    }
  }
  const std::string& text() const { return text_; }

 private:
  /// The first row of a table names its columns.
  void addRow(const std::vector<std::string>& row) {
    if (columns_.empty()) {
      columns_ = row;
      return;
    }
    isBegun_ = true;
    text_ += ".TP\n" + inlineText(row[0]) + "\n" + inlineText(row.size() > 1 ? row[1] : "") + "\n";
    if (row.size() > 2 && !row[2].empty())
      text_ += "(" + inlineText(columns_[2]) + ": " + inlineText(row[2]) + ")\n";
  }

  std::string text_;
  std::vector<std::string> columns_;
  bool isCode_ = false;
  bool isNew_ = false;    // the last line was empty
  bool isBegun_ = false;  // the section has text
};

}  // namespace

std::string programManual(const CommandLine& line, const std::string& description, const std::string& footer,
                          const ManualHead& head) {
  std::string text = heading("siminfo", 1, head) + nameSection("siminfo", description) + section("SYNOPSIS") +
                     bold("siminfo") + " " + italic("COMMAND") + " [" + italic("ARGUMENTS") + "]\n" +
                     section("DESCRIPTION") + escaped(footer) + "\n" + section("COMMANDS");
  for (const Command& command : line.commands())
    text += ".TP\n" + bold(command.name()) + "\n" + escaped(command.description()) + ".\n";
  text += section("SEE ALSO");
  for (const Command& command : line.commands())
    if (command.name() != "help") text += commandReference(command.name(), ",");
  return text + ".BR siminfo\\-snapshot (5)\n";
}

std::string commandManual(const Command& command, const ManualHead& head) {
  const std::string page = "siminfo-" + command.name();
  std::string text = heading(page, 1, head) + nameSection(page, command.description()) + synopsis(command) +
                     section("DESCRIPTION") + escaped(command.description()) + ".\n" + section("OPTIONS");
  for (const OptionLook& look : command.looks()) text += optionEntry(look);
  text += section("NOTES") + footerSections(command.footer());
  return text + section("SEE ALSO") + ".BR siminfo (1),\n.BR siminfo\\-snapshot (5)\n";
}

std::string formatManual(std::string_view markdown, const ManualHead& head) {
  FormatPage page;
  while (!markdown.empty()) {
    const std::size_t end = std::min(markdown.find('\n'), markdown.size());
    page.add(markdown.substr(0, end));
    markdown.remove_prefix(std::min(end + 1, markdown.size()));
  }
  return heading("siminfo-snapshot", 5, head) +
         nameSection("siminfo-snapshot", "format of fabric snapshots") + section("DESCRIPTION") +
         page.text() + section("SEE ALSO") + ".BR siminfo (1)\n";
}

}  // namespace siminfo
