#include "siminfo/models/project.h"

#include <functional>
#include <string_view>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/core/version.h"
#include "siminfo/simulator/headers.h"

namespace siminfo {
namespace {

/// The list of one shard's models: "<lower>_models_0.def" beside "<lower>_models_0.cpp".
std::string shardList(const ModelFiles& files, unsigned shard) {
  std::string name = files.shardFile(shard);
  return name.replace(name.rfind(".cpp"), 4, ".def");
}
std::string pushKeysFile(const ModelFiles& files) { return files.lowerName() + "_push_keys.def"; }
std::string headerFile(const ModelFiles& files) { return files.lowerName() + ".h"; }
std::string mainFile(const ModelFiles& files) { return files.lowerName() + "_main.cpp"; }

/// The header of a dump's classes. It names no model, so that a new one recompiles its own shard and no
/// other: each source sees the list of its shard, and whoever includes the header elsewhere sees all.
void printHeader(SectionStream& os, const ModelFiles& files) {
  const std::string lower = files.lowerName();
  BlockEmitter out(os);
  out << "#pragma once\n\n"
         "// Written by siminfo. The models of a dump: a class for each, whose member functions restore the "
         "node that it\n"
         "// was made with. With SIMINFO_SHARD defined, those of that shard alone.\n\n"
         "#include \"../../core/model_registry.h\"\n\n"
         "#define SIMINFO_FUNCTIONS(FUNCTION, MODEL)";
  for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames())
    out << " \\\n    FUNCTION(MODEL, " << frame.method << ")";
  // clang-format off
  out << "\n"
         "#define SIMINFO_DECLARE(MODEL, FUNCTION) void FUNCTION();\n"
         "#define SIMINFO_MODEL(CLASS, MODEL, PORTS) \\\n"
         "    class MODEL { \\\n"
         "    public: \\\n"
         "        explicit MODEL(drovik::Node* node) : m_node(node) {} \\\n"
         "        SIMINFO_FUNCTIONS(SIMINFO_DECLARE, MODEL) \\\n"
         "    private: \\\n"
         "        [[maybe_unused]] drovik::Node* m_node; \\\n"
         "    };\n\n"
         "#ifdef SIMINFO_SHARD\n"
         "#define SIMINFO_TEXT(NAME) #NAME\n"
         "#define SIMINFO_LIST(SHARD) SIMINFO_TEXT(" << lower << "_models_##SHARD.def)\n"
         "#define SIMINFO_LIST_OF(SHARD) SIMINFO_LIST(SHARD)\n"
         "#define SIMINFO_MODELS SIMINFO_LIST_OF(SIMINFO_SHARD)\n"
         "#else\n"
         "#define SIMINFO_MODELS \"" << files.listFile() << "\"\n"
         "#endif\n\n"
         "class " << files.name << " {\n"
         "public:\n"
         "#include SIMINFO_MODELS\n\n"
         "    /// Every model by its name. Not for a source that sees one shard.\n"
         "    static const drovik::Models& models();\n"
         "};\n\n"
         "#undef SIMINFO_MODEL\n"
         "#undef SIMINFO_MODELS\n\n"
         "#ifndef SIMINFO_SHARD\n"
         "inline const drovik::Models& " << files.name << "::models() {\n"
         "#define SIMINFO_CALL(MODEL, FUNCTION) &drovik::callSet<MODEL, &MODEL::FUNCTION>,\n"
         "#define SIMINFO_MODEL(CLASS, MODEL, PORTS) {#MODEL, {#CLASS, PORTS, {SIMINFO_FUNCTIONS(SIMINFO_CALL, MODEL)}, {}}},\n"
         "#define SIMINFO_PUSH_KEY(MODEL, HEADER0, HEADER1) all[#MODEL].pushKeys.push_back({HEADER0, HEADER1});\n"
         "    static const drovik::Models kModels = [] {\n"
         "        drovik::Models all{\n"
         "#include \"" << files.listFile() << "\"\n"
         "        };\n"
         "#include \"" << pushKeysFile(files) << "\"\n"
         "        return all;\n"
         "    }();\n"
         "    return kModels;\n"
         "#undef SIMINFO_MODEL\n"
         "}\n"
         "#endif\n";
  // clang-format on
}

void printPushKeys(SectionStream& os, const ModelWriter& writer, const ModelSet& set) {
  BlockEmitter out(os);
  for (const Model& model : set.models) {
    for (const auto& [header0, header1] : writer.pushKeys(model))
      out << "SIMINFO_PUSH_KEY(" << model.name << ", " << header0 << ", " << header1 << ")\n";
  }
}

void printMain(SectionStream& os, const ModelFiles& files) {
  BlockEmitter(os)
      << "// Written by siminfo. Restores the nodes of the dump's table and tells what became of them.\n\n"
         "#include \"../../core/restore_program.h\"\n"
         "#include \""
      << headerFile(files)
      << "\"\n"
         "#include \""
      << files.lowerName()
      << "_table.h\"  // written by CMake\n\n"
         "int main(int argc, char** argv) {\n"
         "    return drovik::RestoreProgram("
      << files.name << "::models(), kNodeTable).run(argc, argv);\n}\n";
}

void printBuild(SectionStream& os, const ModelFiles& files) {
  const std::string lower = files.lowerName();
  const std::string folder = "dumps/" + lower + "/";
  // clang-format off
  BlockEmitter out(os);
  out << "# Written by " << toolNameAndVersion() << ".\n"
         "cmake_minimum_required(VERSION 3.20)\n"
         "project(" << lower << "_models LANGUAGES CXX)\n\n"
         "add_library(" << lower << "_models STATIC\n";
  for (unsigned shard = 0; shard < files.shards; ++shard) out << "  " << folder << files.shardFile(shard) << "\n";
  out << ")\n"
         "target_compile_features(" << lower << "_models PUBLIC cxx_std_17)\n"
         "target_include_directories(" << lower << "_models PUBLIC \"${CMAKE_CURRENT_SOURCE_DIR}\")\n"
         "# Each source is shown the models of its own shard alone.\n";
  for (unsigned shard = 0; shard < files.shards; ++shard)
    out << "set_source_files_properties(" << folder << files.shardFile(shard)
        << " PROPERTIES COMPILE_DEFINITIONS SIMINFO_SHARD=" << shard << ")\n";
  out << "\n"
         "add_executable(" << lower << "_nodes " << folder << mainFile(files) << ")\n"
         "target_link_libraries(" << lower << "_nodes PRIVATE " << lower << "_models)\n"
         "# Where the table is, for whatever folder the program is started from.\n"
         "file(CONFIGURE OUTPUT " << lower << "_table.h CONTENT\n"
         "  [[constexpr const char* kNodeTable = R\"siminfo(@CMAKE_CURRENT_SOURCE_DIR@/" << folder << files.nodesFile()
         << ")siminfo\";\n]] @ONLY)\n"
         "target_include_directories(" << lower << "_nodes PRIVATE \"${CMAKE_CURRENT_BINARY_DIR}\")\n";
  // clang-format on
}

}  // namespace

ModelFiles projectFiles(const std::string& name, unsigned shards, const std::filesystem::path& root) {
  return {name, shards, root / "dumps" / SimInfoDumpCPP::LowerName(name)};
}

std::vector<std::filesystem::path> writeProject(const ModelWriter& writer, const ModelSet& set,
                                                const std::string& name, unsigned shards,
                                                const std::filesystem::path& root, Durability durability) {
  const ModelFiles files = projectFiles(name, shards, root);
  std::vector<std::filesystem::path> written = writeModelFiles(writer, set, files, durability);
  const auto put = [&](const std::filesystem::path& path, const std::function<void(SectionStream&)>& print) {
    SectionStream text;
    print(text);
    writeFile(path, text.text(), durability);
    written.push_back(path);
  };
  for (unsigned shard = 0; shard < shards; ++shard)
    put(files.folder / shardList(files, shard), [&](SectionStream& os) {
      printList(os, set, [&](const Model& model) { return files.shardOf(model) == shard; });
    });
  put(files.folder / pushKeysFile(files), [&](SectionStream& os) { printPushKeys(os, writer, set); });
  put(files.folder / headerFile(files), [&](SectionStream& os) { printHeader(os, files); });
  put(files.folder / mainFile(files), [&](SectionStream& os) { printMain(os, files); });
  put(root / "CMakeLists.txt", [&](SectionStream& os) { printBuild(os, files); });
  writeSimulator(root, durability);
  return written;
}

}  // namespace siminfo
