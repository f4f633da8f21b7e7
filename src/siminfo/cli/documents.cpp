// Writes the manual pages and the shells' completions of siminfo, for the build that installs them:
// FOLDER SNAPSHOT-FORMAT.md DATE.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "siminfo/cli/commands.h"
#include "siminfo/cli/completion.h"
#include "siminfo/cli/manual.h"
#include "siminfo/core/version.h"

namespace siminfo {
namespace {

void write(const std::filesystem::path& file, const std::string& text) {
  std::ofstream out(file);
  out << text << std::flush;
  if (!out) throw std::runtime_error(file.string() + ": cannot be written");
}

std::string textOf(const std::string& file) {
  std::ifstream in(file);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in) throw std::runtime_error(file + ": cannot be read");
  return text.str();
}

void writeDocuments(const std::filesystem::path& folder, const std::string& format, const std::string& date) {
  CommandLine line(kProgramDescription, toolNameAndVersion(), kProgramFooter);
  addCommands(line, [](const CollectCommand&) { return kDone; });
  const ManualHead head{date, toolNameAndVersion()};
  write(folder / "siminfo.1", programManual(line, kProgramDescription, kProgramFooter, head));
  for (const Command& command : line.commands())
    if (command.name() != "help")
      write(folder / ("siminfo-" + command.name() + ".1"), commandManual(command, head));
  write(folder / "siminfo-snapshot.5", formatManual(textOf(format), head));
  write(folder / "siminfo.bash", bashCompletion(line));
  write(folder / "_siminfo", zshCompletion(line));
  write(folder / "siminfo.fish", fishCompletion(line));
}

}  // namespace
}  // namespace siminfo

int main(int argc, char** argv) {
  if (argc != 4) return siminfo::kBadCommandLine;
  try {
    siminfo::writeDocuments(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return siminfo::kBadInput;
  }
  return 0;
}
