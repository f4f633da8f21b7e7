#include "siminfo/verify/workshop.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>

#include "siminfo/simulator/headers.h"
#include "siminfo/text/quoting.h"
#include "siminfo/verify/file_words.h"

namespace siminfo {
namespace {

constexpr const char* kSource = "node.cpp";
constexpr const char* kProgram = "node";
constexpr const char* kImages = "images.txt";
constexpr const char* kMessages = "messages.txt";

std::string lineDirective(std::size_t line, const std::string& source) {
  return "#line " + std::to_string(line) + " " + cppString(source) + "\n";
}

/// The frames with the line numbers of their file, and the program around them.
std::string unitText(const Unit& unit, const std::string& dumpName, const std::string& source) {
  std::ostringstream text;
  text << includeLines(dumpName) << "#include \"../probe/verify_probe.h\"\n";
  for (const UnitFrame& frame : unit.frames) text << lineDirective(frame.line, source) << frame.text << "\n";
  text << lineDirective(1, "probe") << "int main(int, char** arguments) {\n  VerifyProbe probe("
       << unit.lastPort << ", {";
  for (const auto& [header0, header1] : unit.pushKeys) text << "{" << header0 << ", " << header1 << "}, ";
  text << "}, arguments[1]);\n";
  for (const UnitFrame& frame : unit.frames)
    text << "  probe.run(\"" << frame.method << "\", [](drovik::Node* node) { " << dumpName
         << "::" << unit.nodeClass << "(node)." << frame.method << "(); });\n";
  text << "}\n";
  return text.str();
}

std::string lineWords(const CompilerError& error) {
  return "line " + std::to_string(error.line) + ": " + error.words;
}

/// Takes the frames that the compiler complains of out of the unit, or all of them when it complains of
/// nothing in particular.
void takeOutBroken(Unit& unit, const CompilerMessages& messages, UnitResult& result) {
  std::map<std::string_view, std::string> broken;
  for (const CompilerError& error : messages.errors) {
    for (const UnitFrame& frame : unit.frames) {
      if (error.line >= frame.line && error.line < frame.line + frame.lines)
        broken.emplace(frame.method, lineWords(error));
    }
  }
  if (broken.empty()) {
    for (const UnitFrame& frame : unit.frames) broken.emplace(frame.method, messages.anything);
  }
  std::erase_if(unit.frames, [&](const UnitFrame& frame) { return broken.contains(frame.method); });
  result.broken.merge(broken);
}

std::vector<std::uint8_t> parseBytes(std::string_view digits) {
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    std::from_chars(digits.data() + 2 * i, digits.data() + 2 * i + 2, bytes[i], 16);
  return bytes;
}

/// Reads what the probe printed: "frame <method> <run>", a line an image, "end". Returns the number of frames
/// that were begun.
std::size_t readRuns(const std::filesystem::path& images, UnitResult& result) {
  std::ifstream file(images);
  FrameRun* run = nullptr;
  std::size_t frames = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("frame ")) {
      const std::size_t space = line.rfind(' ');
      const unsigned number = line.ends_with('0') ? 0 : 1;
      if (number == 0) ++frames;
      run = &result.runs[line.substr(6, space - 6)].emplace_back(FrameRun{number, {}, false});
    } else if (run != nullptr && line == "end") {
      run->ended = true;
    } else if (const std::size_t colon = line.find(": "); run != nullptr && colon != std::string::npos) {
      run->images[line.substr(0, colon)] = parseBytes(std::string_view(line).substr(colon + 2));
    }
  }
  return frames;
}

}  // namespace

Workshop::Workshop(std::filesystem::path root, std::string dumpName, std::string compiler,
                   ChildProcesses children)
    : root_(std::move(root)),
      dumpName_(std::move(dumpName)),
      compiler_(std::move(compiler)),
      children_(std::move(children)) {
  writeSimulator(root_);
  for (const SimulatorHeader& header : kProbeHeaders)
    writeFile(root_ / "units/probe" / header.path, header.text);
  writeFile(dumpFolder() / (lowerName(dumpName_) + ".h"), dumpHeader(dumpName_));
}

std::filesystem::path Workshop::dumpFolder() const { return root_ / "dumps" / lowerName(dumpName_); }

bool Workshop::compile(const std::filesystem::path& folder, const std::vector<std::string>& options) const {
  std::vector<std::string> command{compiler_, "-std=c++17", "-w",         "-I",
                                   root_,     "-iquote",    dumpFolder(), folder / kSource};
  command.insert(command.end(), options.begin(), options.end());
  return children_.run(command, "/dev/null", folder / kMessages);
}

CompilerMessages Workshop::messages(const std::filesystem::path& folder, const std::string& source) const {
  std::ifstream file(folder / kMessages, std::ios_base::binary);
  return {std::string{std::istreambuf_iterator<char>(file), {}}, source};
}

UnitResult Workshop::process(Unit unit, const std::filesystem::path& source) const {
  const std::filesystem::path folder = root_ / "units" / unit.folder;
  UnitResult result;
  for (bool isCompiled = false; !unit.frames.empty() && !isCompiled;) {
    writeFile(folder / kSource, unitText(unit, dumpName_, source));
    // Not optimised: the program runs for a moment, and compiling is what costs.
    isCompiled = compile(folder, {"-O0", "-o", folder / kProgram});
    if (children_.isStopped()) return result;
    if (!isCompiled) takeOutBroken(unit, messages(folder, source), result);
  }
  // A function that ends the program takes none of those behind it along.
  for (std::size_t skip = 0; skip < unit.frames.size() && !children_.isStopped();) {
    children_.run({folder / kProgram, std::to_string(skip)}, folder / kImages, folder / kMessages);
    skip += std::max<std::size_t>(1, readRuns(folder / kImages, result));
  }
  return result;
}

std::string Workshop::wholeFault(TextLines text, const std::filesystem::path& source) const {
  const std::filesystem::path folder = root_ / "units/whole";
  std::string copy = lineDirective(1, source);
  for (const std::string_view line : text) copy.append(line).append("\n");
  writeFile(folder / kSource, copy);
  if (compile(folder, {"-fsyntax-only"})) return {};
  const CompilerMessages found = messages(folder, source);
  return found.errors.empty() ? found.anything : lineWords(found.errors.front());
}

}  // namespace siminfo
