#pragma once

#include <string>
#include <string_view>

#include "siminfo/cli/command_line.h"

namespace siminfo {

/// The line of a manual page that says what it is: name in capitals, section, date and program.
struct ManualHead {
  std::string date;     ///< as in 2026-11-22
  std::string program;  ///< name and version
};

// Manual pages in the man macros, which troff and mandoc read.

/// siminfo(1), of the program as a whole.
std::string programManual(const CommandLine& line, const std::string& description, const std::string& footer,
                          const ManualHead& head);
/// siminfo-<command>(1).
std::string commandManual(const Command& command, const ManualHead& head);
/// siminfo-snapshot(5), made from a document in Markdown: headings, paragraphs, lists, tables and code.
std::string formatManual(std::string_view markdown, const ManualHead& head);

}  // namespace siminfo
