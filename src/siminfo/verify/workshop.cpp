#include "siminfo/verify/workshop.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

#include "siminfo/simulator/headers.h"
#include "siminfo/text/quoting.h"
#include "siminfo/verify/file_words.h"

namespace siminfo {
namespace {

constexpr const char* kSource = "unit.cpp";
constexpr const char* kProgram = "unit";
constexpr const char* kImages = "images.txt";
constexpr const char* kMessages = "messages.txt";

std::string lineDirective(std::size_t line, const std::string& source) {
  return "#line " + std::to_string(line) + " " + cppString(source) + "\n";
}

/// The frames with the line numbers of their file.
std::string framesText(const Unit& unit, const std::string& dumpName) {
  std::string text = includeLines(dumpName);
  for (const UnitDevice& device : unit.devices) {
    for (const UnitFrame& frame : device.frames)
      text += lineDirective(frame.line, unit.source) + frame.text + "\n";
  }
  return text;
}

/// The program behind them. A function with a switch for each device, and not one for each frame: compiling
/// is what costs.
std::string programText(const Unit& unit, const std::string& dumpName) {
  std::ostringstream text;
  text << lineDirective(1, "probe") << "#include \"probe/verify_probe.h\"\n";
  for (std::size_t i = 0; i < unit.devices.size(); ++i) {
    const UnitDevice& device = unit.devices[i];
    text << "static void device" << i << "(drovik::Node* node, unsigned frame) {\n  " << dumpName
         << "::" << device.deviceClass << " device(node);\n  switch (frame) {\n";
    for (std::size_t frame = 0; frame < device.frames.size(); ++frame)
      text << "    case " << frame << ": return device." << device.frames[frame].method << "();\n";
    text << "  }\n}\n";
  }
  text << "int main(int, char** arguments) {\n  VerifyProbe probe(arguments[1]);\n";
  for (std::size_t i = 0; i < unit.devices.size(); ++i) {
    const UnitDevice& device = unit.devices[i];
    text << "  probe.run(" << i << ", " << device.lastPort << ", {";
    for (const auto& [header0, header1] : device.pushKeys) text << "{" << header0 << ", " << header1 << "}, ";
    text << "}, {";
    for (const UnitFrame& frame : device.frames) text << "\"" << frame.method << "\", ";
    text << "}, device" << i << ");\n";
  }
  text << "}\n";
  return text.str();
}

std::string lineWords(const CompilerError& error) {
  return "line " + std::to_string(error.line) + ": " + error.words;
}

std::size_t frameCount(const Unit& unit) {
  std::size_t count = 0;
  for (const UnitDevice& device : unit.devices) count += device.frames.size();
  return count;
}

}  // namespace

std::filesystem::path DumpFolder::path() const { return root / "dumps" / lowerName(dumpName); }

Workshop::Workshop(DumpFolder dump, const std::filesystem::path& units, std::string compiler,
                   ChildProcesses children)
    : dump_(std::move(dump)), units_(units), compiler_(std::move(compiler)), children_(std::move(children)) {
  for (const SimulatorHeader& header : kProbeHeaders) writeFile(units_ / "probe" / header.path, header.text);
}

bool Workshop::compile(const std::string& folder, const std::string& text,
                       const std::vector<std::string>& options) const {
  const std::filesystem::path place = units_ / folder;
  writeFile(place / kSource, text);
  std::vector<std::string> command{compiler_, "-std=c++17", "-w",      "-I",         dump_.root,
                                   "-I",      units_,       "-iquote", dump_.path(), place / kSource};
  command.insert(command.end(), options.begin(), options.end());
  return children_.run(command, "/dev/null", place / kMessages);
}

CompilerMessages Workshop::messages(const std::string& folder, const std::string& source) const {
  std::ifstream file(units_ / folder / kMessages, std::ios_base::binary);
  return {std::string{std::istreambuf_iterator<char>(file), {}}, source};
}

/// Finds the frames of a unit that compile together, and says of the others why they do not.
class Workshop::Assembly {
 public:
  Assembly(const Workshop& workshop, const Unit& unit, UnitResult& result)
      : workshop_(workshop), unit_(unit), result_(result) {}

  /// Leaves the program of the frames that compile in the folder, and returns the unit with these alone.
  const Unit& compileWhatCan() {
    for (int unnamed = 0; frameCount(unit_) > 0 && !workshop_.children_.isStopped();) {
      if (compiles(unit_)) break;
      if (takeOutNamed()) continue;
      // After a few of these it is the compiler that is not well.
      const Unit part = unnamed++ < kMostUnnamed ? findUnnamed() : unit_;
      takeOut(part, messages().anything);
    }
    return unit_;
  }

 private:
  static constexpr int kMostUnnamed = 3;

  // Not optimised: the program runs for a moment.
  bool compiles(const Unit& unit) const {
    const std::string& name = workshop_.dump_.dumpName;
    return workshop_.compile(unit.folder, framesText(unit, name) + programText(unit, name),
                             {"-O0", "-o", workshop_.units_ / unit.folder / kProgram});
  }
  CompilerMessages messages() const { return workshop_.messages(unit_.folder, unit_.source); }

  void takeOut(std::size_t device, std::string_view method, const std::string& words) {
    result_.devices[device].broken.emplace(method, words);
    std::erase_if(unit_.devices[device].frames,
                  [&](const UnitFrame& frame) { return frame.method == method; });
  }
  void takeOut(const Unit& part, const std::string& words) {
    for (std::size_t device = 0; device < part.devices.size(); ++device) {
      const std::vector<UnitFrame> frames = part.devices[device].frames;
      for (const UnitFrame& frame : frames) takeOut(device, frame.method, words);
    }
  }

  /// Takes out the frames on whose lines the compiler found something. Returns whether there are any.
  bool takeOutNamed() {
    bool isAny = false;
    for (const CompilerError& error : messages().errors) {
      for (std::size_t device = 0; device < unit_.devices.size(); ++device) {
        const std::vector<UnitFrame>& frames = unit_.devices[device].frames;
        const auto frame = std::ranges::find_if(frames, [&](const UnitFrame& of) {
          return error.line >= of.line && error.line < of.line + of.lines;
        });
        if (frame == frames.end()) continue;
        takeOut(device, frame->method, lineWords(error));
        isAny = true;
        break;
      }
    }
    return isAny;
  }

  /// A linker names no lines: the frames are halved until one is left that is at fault, or several that are
  /// at fault together. Their messages are the last ones.
  Unit findUnnamed() const {
    Unit part = unit_;
    while (frameCount(part) > 1 && !workshop_.children_.isStopped()) {
      const auto halves = halve(part);
      const auto faulty = std::ranges::find_if(halves, [&](const Unit& half) { return !compiles(half); });
      if (faulty == halves.end()) break;
      part = *faulty;
    }
    if (frameCount(part) > 1) compiles(part);
    return part;
  }

  /// The first half of the frames, and the second; each has all devices.
  static std::array<Unit, 2> halve(const Unit& unit) {
    std::array<Unit, 2> halves{unit, unit};
    const std::size_t count = frameCount(unit);
    std::size_t at = 0;
    for (std::size_t device = 0; device < unit.devices.size(); ++device) {
      for (Unit& half : halves) half.devices[device].frames.clear();
      for (const UnitFrame& frame : unit.devices[device].frames)
        halves.at(2 * at++ / count).devices[device].frames.push_back(frame);
    }
    return halves;
  }

  const Workshop& workshop_;
  Unit unit_;
  UnitResult& result_;
};

void Workshop::runProgram(const Unit& unit, UnitResult& result) const {
  const std::filesystem::path folder = units_ / unit.folder;
  // A function that ends the program takes none of those behind it along.
  for (std::size_t skip = 0; skip < frameCount(unit) && !children_.isStopped();) {
    children_.run({folder / kProgram, std::to_string(skip)}, folder / kImages, folder / kMessages);
    std::ifstream printed(folder / kImages);
    skip += std::max<std::size_t>(1, readRuns(printed, result));
  }
}

UnitResult Workshop::process(const Unit& unit) const {
  UnitResult result;
  result.devices.resize(unit.devices.size());
  if (unit.asItIs.empty()) {
    Assembly assembly(*this, unit, result);
    runProgram(assembly.compileWhatCan(), result);
    return result;
  }
  if (compile(unit.folder, unit.asItIs + programText(unit, dump_.dumpName),
              {"-O0", "-o", units_ / unit.folder / kProgram})) {
    runProgram(unit, result);
    return result;
  }
  const CompilerMessages found = messages(unit.folder, unit.source);
  Unit apart = unit;
  apart.asItIs.clear();
  result = process(apart);
  const auto isBroken = [](const DeviceRuns& device) { return !device.broken.empty(); };
  if (std::ranges::none_of(result.devices, isBroken))
    result.fileFault = found.errors.empty() ? found.anything : lineWords(found.errors.front());
  return result;
}

std::string Workshop::wholeFault(TextLines text, const std::filesystem::path& source) const {
  const std::string folder = "whole";
  std::string copy = lineDirective(1, source);
  for (const std::string_view line : text) copy.append(line).append("\n");
  if (compile(folder, copy, {"-fsyntax-only"})) return {};
  const CompilerMessages found = messages(folder, source);
  return found.errors.empty() ? found.anything : lineWords(found.errors.front());
}

}  // namespace siminfo
