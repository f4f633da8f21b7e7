#include "siminfo/verify/workshop.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/verify/child_process.h"

namespace siminfo {
namespace {

constexpr const char* kSource = "node.cpp";
constexpr const char* kProgram = "node";
constexpr const char* kImages = "images.txt";
constexpr const char* kMessages = "messages.txt";

/// The generated text as it stands, each frame with the line numbers of its file, and the program around it.
std::string unitText(const Unit& unit, std::string_view head, const std::string& source) {
  std::ostringstream text;
  text << head << "\n#include \"../probe/verify_probe.h\"\n";
  for (const DumpFrame* frame : unit.frames)
    text << "#line " << frame->line << " \"" << source << "\"\n" << frame->text << "\n";
  text << "#line 1 \"probe\"\nint main(int, char** arguments) {\n  VerifyProbe probe(" << unit.lastPort
       << ", {";
  for (const auto& [header0, header1] : unit.pushKeys) text << "{" << header0 << ", " << header1 << "}, ";
  text << "}, arguments[1]);\n";
  for (const DumpFrame* frame : unit.frames)
    text << "  probe.run(\"" << frame->method << "\", [](drovik::Node* node) { " << unit.dumpClass
         << "(node)." << frame->method << "(); });\n";
  text << "}\n";
  return text.str();
}

/// The line of `source` that the compiler's message is about and what it says, or 0.
std::size_t errorLine(const std::string& message, const std::string& source, std::string& words) {
  const std::string prefix = source + ":";
  const std::size_t mark = message.find("error: ");
  if (!message.starts_with(prefix) || mark == std::string::npos) return 0;
  std::size_t line = 0;
  std::from_chars(message.data() + prefix.size(), message.data() + message.size(), line);
  words = message.substr(mark + 7);
  return line;
}

/// Takes the frames that the compiler complains of out of the unit, or all of them when it complains of
/// nothing in particular.
void takeOutBroken(Unit& unit, const std::filesystem::path& messages, const std::string& source,
                   UnitResult& result) {
  std::ifstream file(messages);
  std::string anything = "the compiler failed without a message";
  std::map<std::string_view, std::string> broken;
  for (std::string message; std::getline(file, message);) {
    std::string words;
    if (message.find("error") != std::string::npos && anything.starts_with("the compiler"))
      anything = message;
    const std::size_t line = errorLine(message, source, words);
    for (const DumpFrame* frame : unit.frames) {
      if (line >= frame->line && line < frame->line + frame->lines)
        broken.emplace(frame->method, "line " + std::to_string(line) + ": " + words);
    }
  }
  if (broken.empty()) {
    for (const DumpFrame* frame : unit.frames) broken.emplace(frame->method, anything);
  }
  std::erase_if(unit.frames, [&](const DumpFrame* frame) { return broken.contains(frame->method); });
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

Workshop::Workshop(std::filesystem::path root, std::string compiler)
    : root_(std::move(root)), compiler_(std::move(compiler)) {
  writeSimulator(root_);
  for (const SimulatorHeader& header : kProbeHeaders)
    writeFile(root_ / "units/probe" / header.path, header.text);
}

void Workshop::writeDumpHeader(const std::string& name) const {
  const std::string lowerName = SimInfoDumpCPP::LowerName(name);
  writeFile(dumpFolder(lowerName) / (lowerName + ".h"), dumpHeader(name));
}

bool Workshop::compile(const std::filesystem::path& folder, const std::filesystem::path& include) const {
  // Not optimised: the program runs for a moment, and compiling is what costs.
  return runProgram({compiler_, "-std=c++17", "-O0", "-w", "-I", root_, "-iquote", include, folder / kSource,
                     "-o", folder / kProgram},
                    "/dev/null", folder / kMessages);
}

UnitResult Workshop::process(const Unit& given, std::string_view head,
                             const std::filesystem::path& source) const {
  const std::filesystem::path folder = root_ / "units" / given.folder;
  const std::string dumpName =
      SimInfoDumpCPP::LowerName(given.dumpClass.substr(0, given.dumpClass.find(':')));
  Unit unit = given;
  UnitResult result;
  for (bool isCompiled = false; !unit.frames.empty() && !isCompiled;) {
    writeFile(folder / kSource, unitText(unit, head, source));
    isCompiled = compile(folder, dumpFolder(dumpName));
    if (!isCompiled) takeOutBroken(unit, folder / kMessages, source, result);
  }
  // A function that ends the program takes none of those behind it along.
  for (std::size_t skip = 0; skip < unit.frames.size();) {
    runProgram({folder / kProgram, std::to_string(skip)}, folder / kImages, folder / kMessages);
    skip += std::max<std::size_t>(1, readRuns(folder / kImages, result));
  }
  return result;
}

}  // namespace siminfo
