#include "siminfo/verify/workshop.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

#include "siminfo/process/descriptors.h"
#include "siminfo/process/shortage.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/quoting.h"
#include "siminfo/verify/file_words.h"
#include "siminfo/verify/probe/machine_fault.h"

namespace siminfo {
namespace {

// All programs run in the root of the work, and know its files by these names alone: a path may have anything
// in it that compilers, and who reads their messages, stumble over.
constexpr const char* kUnits = "units";
constexpr const char* kSource = "unit.cpp";
constexpr const char* kProgram = "unit";
constexpr const char* kImages = "images.txt";
constexpr const char* kMessages = "messages.txt";

/// Of each file that a program writes, and of what it prints.
constexpr std::size_t kMostWritten = std::size_t{1} << 28U;
/// A generated loop that never ends must not hold up whoever waits.
constexpr std::chrono::seconds kProgramTime{60};

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
  text.exceptions(std::ios_base::badbit);  // half a program would not compile
  text << lineDirective(1, "probe") << "#include \"probe/verify_probe.h\"\n";
  for (std::size_t i = 0; i < unit.devices.size(); ++i) {
    const UnitDevice& device = unit.devices[i];
    text << "static void device" << i << "(drovik::Node* node, unsigned frame) {\n  " << dumpName
         << "::" << device.deviceClass << " device(node);\n  switch (frame) {\n";
    for (std::size_t frame = 0; frame < device.frames.size(); ++frame)
      text << "    case " << frame << ": return device." << device.frames[frame].method << "();\n";
    text << "  }\n}\n";
  }
  text << "int main(int, char** arguments) {\n  VerifyProbe probe(arguments[1], arguments[2]);\n";
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

std::string unreachedWords(const ProgramEnd& end) {
  switch (end.how) {
    case ProgramEnd::kExited:
      return "a program that exits with " + std::to_string(end.status) + " before it calls it";
    case ProgramEnd::kSignalled:
      return "a program that was " + signalWords(end.status) + " before it called it";
    default:
      return "a program that does not reach it in time";
  }
}

std::string programOf(const Unit& unit) {
  return (std::filesystem::path(kUnits) / unit.folder / kProgram).string();
}

std::size_t frameCount(const Unit& unit) {
  std::size_t count = 0;
  for (const UnitDevice& device : unit.devices) count += device.frames.size();
  return count;
}

}  // namespace

std::filesystem::path DumpFolder::path() const { return root / "dumps" / lowerName(dumpName); }

Tools toolsOf(const VerifyRequest& request, std::function<bool()> isStopped) {
  return {request.compiler, std::chrono::seconds(request.timeLimit), std::size_t{request.memoryLimit} << 20U,
          std::move(isStopped)};
}

Workshop::Workshop(DumpFolder dump, std::filesystem::path root, Tools tools)
    : dump_(std::move(dump)), root_(std::move(root)), tools_(std::move(tools)) {
  for (const SimulatorHeader& header : kProbeHeaders)
    writeFile(root_ / kUnits / "probe" / header.path, header.text);
}

Workshop::Ran Workshop::run(const std::vector<std::string>& command, const std::string& folder,
                            const std::filesystem::path& output, std::chrono::seconds processorTime) const {
  const FileHandle input("/dev/null", O_RDONLY);
  const FileHandle printed(output, O_WRONLY | O_CREAT | O_TRUNC);
  const MemoryFile messages;
  // Temporary files go with the folder, however their program ended.
  const std::string temporary = (std::filesystem::path(kUnits) / folder).string();
  const ProgramEnd end =
      siminfo::runProgram({command,
                           input.get(),
                           printed.get(),
                           messages.get(),
                           {{"LC_ALL", "C"}, {"TMPDIR", temporary}},
                           root_,
                           {static_cast<unsigned>(processorTime.count()), tools_.memory, kMostWritten}},
                          tools_.time, tools_.isStopped);
  return {end, messages.text()};
}

std::optional<std::string> Workshop::compile(const std::string& folder, const std::string& text,
                                             const std::vector<std::string>& options) const {
  const std::filesystem::path source = std::filesystem::path(kUnits) / folder / kSource;
  writeFile(root_ / source, text);
  std::vector<std::string> command{tools_.compiler,
                                   "-std=c++17",
                                   "-w",
                                   "-I",
                                   dump_.root.lexically_relative(root_).string(),
                                   "-I",
                                   kUnits,
                                   "-iquote",
                                   dump_.path().lexically_relative(root_).string(),
                                   source.string()};
  command.insert(command.end(), options.begin(), options.end());
  Ran ran = run(command, folder, "/dev/null", std::chrono::seconds(0));
  if (ran.end.isDone()) return std::nullopt;
  checkCompiler(ran);
  writeFile(root_ / kUnits / folder / kMessages, ran.messages);
  return std::move(ran.messages);
}

void Workshop::checkCompiler(const Ran& ran) const {
  const std::string who = "the compiler " + tools_.compiler;
  if (ran.end.how == ProgramEnd::kTimedOut)
    throw VerifyError(who + " had not finished after " + std::to_string(tools_.time.count()) +
                      " s; allow more with --time-limit");
  if (ran.end.how == ProgramEnd::kSignalled) throw VerifyError(who + " was " + signalWords(ran.end.status));
  const std::string shortage = shortageIn(ran.messages);
  if (!shortage.empty()) throw VerifyError(who + ": " + shortage);
}

/// Finds the frames of a unit that compile together, and says of the others why they do not.
class Workshop::Assembly {
 public:
  Assembly(const Workshop& workshop, const Unit& unit, UnitResult& result)
      : workshop_(workshop), unit_(unit), result_(result) {}

  /// Leaves the program of the frames that compile in the folder, and returns the unit with these alone.
  const Unit& compileWhatCan() {
    for (int unnamed = 0; frameCount(unit_) > 0 && !workshop_.tools_.isStopped();) {
      if (compiles(unit_)) break;
      if (takeOutNamed()) continue;
      // After a few of these it is the compiler that is not well.
      const Unit part = unnamed++ < kMostUnnamed ? findUnnamed() : unit_;
      takeOut(part, messages_.anything);
    }
    return unit_;
  }

 private:
  static constexpr int kMostUnnamed = 3;

  // Not optimised: the program runs for a moment.
  bool compiles(const Unit& unit) {
    const std::string& name = workshop_.dump_.dumpName;
    const auto words = workshop_.compile(unit.folder, framesText(unit, name) + programText(unit, name),
                                         {"-O0", "-o", programOf(unit)});
    if (words) messages_ = CompilerMessages(*words, unit.source);
    return !words;
  }

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
    for (const CompilerError& error : messages_.errors) {
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
  Unit findUnnamed() {
    Unit part = unit_;
    while (frameCount(part) > 1 && !workshop_.tools_.isStopped()) {
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
  CompilerMessages messages_{{}, {}};  // of the last failure
};

void Workshop::runProgram(const Unit& unit, UnitResult& result) const {
  const std::filesystem::path images = root_ / kUnits / unit.folder / kImages;
  // A function that ends the program takes none of those behind it along.
  for (std::size_t skip = 0; skip < frameCount(unit) && !tools_.isStopped();) {
    const Ran ran = run({root_ / programOf(unit), std::to_string(skip), std::to_string(tools_.memory)},
                        unit.folder, images, std::min(kProgramTime, tools_.time));
    checkProgram(ran);
    std::ifstream printed(images);
    if (!printed) throw std::system_error(errno, std::generic_category(), images.string());
    const std::size_t begun = readRuns(printed, result);
    if (printed.bad()) throw std::system_error(EIO, std::generic_category(), images.string());
    skip += begun;
    if (begun > 0) continue;
    for (DeviceRuns& device : result.devices) device.unreached = unreachedWords(ran.end);
    return;
  }
}

void Workshop::checkProgram(const Ran& ran) {
  const auto& [end, messages] = ran;
  constexpr const char* kWho = "a compiled program";
  if (end.how == ProgramEnd::kSignalled && end.status == SIGKILL)
    throw VerifyError(std::string(kWho) + " was " + signalWords(end.status));
  if (end.how != ProgramEnd::kExited) return;
  if (const int error = machineFaultOf(end.status); error != 0)
    throw VerifyError(std::string(kWho) + ": " + std::generic_category().message(error));
  // The system's loader has words, and no number.
  const std::string shortage = shortageIn(messages);
  if (!shortage.empty()) throw VerifyError(std::string(kWho) + ": " + shortage);
}

UnitResult Workshop::process(const Unit& unit) const {
  UnitResult result;
  result.devices.resize(unit.devices.size());
  if (unit.asItIs.empty()) {
    Assembly assembly(*this, unit, result);
    runProgram(assembly.compileWhatCan(), result);
    return result;
  }
  const auto words =
      compile(unit.folder, unit.asItIs + programText(unit, dump_.dumpName), {"-O0", "-o", programOf(unit)});
  if (!words) {
    runProgram(unit, result);
    return result;
  }
  const CompilerMessages found(*words, unit.source);
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
  const std::string name = source.filename().string();
  std::string copy = lineDirective(1, name);
  for (const std::string_view line : text) copy.append(line).append("\n");
  const auto words = compile(folder, copy, {"-fsyntax-only"});
  if (!words) return {};
  const CompilerMessages found(*words, name);
  return found.errors.empty() ? found.anything : lineWords(found.errors.front());
}

}  // namespace siminfo
