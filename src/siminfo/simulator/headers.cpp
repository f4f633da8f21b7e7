#include "siminfo/simulator/headers.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/in_memory/output_directory.h"
#include "siminfo/core/records/records.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/simulator/record_layout.h"

namespace siminfo {
namespace {

void declare(BlockEmitter& out, const Field& field);

/// The members of a record inside the record: the PSID's characters, or a record with a table of its own.
void declareInner(BlockEmitter& out, const Field& field) {
  out << "struct { ";
  if (field.form == FieldForm::kText)
    out << "u_int8_t " << field.name << "[" << field.count << "] = {}; ";
  else
    for (const Field& inner : field.members) declare(out, inner);
  out << "} " << field.name;
  if (field.form == FieldForm::kRecords) out << "[" << field.count << "]";
  out << "; ";
}

void declare(BlockEmitter& out, const Field& field) {
  if (field.form == FieldForm::kText || field.form == FieldForm::kRecords) {
    declareInner(out, field);
    return;
  }
  out << "u_int" << 8 * field.size << "_t " << field.name;
  if (field.count > 1)
    out << "[" << field.count << "] = {}; ";
  else
    out << " = 0; ";
}

void writeRecord(BlockEmitter& out, const RecordLayout& layout) {
  out << (layout.isStandard ? "// As the InfiniBand architecture has it on the wire.\n"
                            : "// In this simulator's own layout.\n");
  // Reserved is the image as it was unpacked, and packing lays the fields over it. A record that was not
  // unpacked packs zeros there, which shows that its unpack line is missing.
  //
  // Generated source writes `= {0}`. A constructor takes it without a word about the other members, and a
  // record that goes unused is no mistake of whoever compiles the source.
  out << "struct [[maybe_unused]] " << layout.type << " {\n"
      << "    " << layout.type << "(int) {}\n";
  for (const Field& field : layout.fields) {
    out << "    ";
    declare(out, field);
    out << "\n";
  }
  out << "    u_int8_t reserved[" << layout.bytes << "] = {};\n"
      << "};\n"
      << "using " << layout.image << " = drovik::Image<" << layout.bytes << ">;\n";

  out << "inline void " << layout.functions << "_unpack(" << layout.type
      << "* record, const u_int8_t* image) {\n"
      << "    std::memcpy(record->reserved, image, sizeof record->reserved);\n";
  for (const NumberLayout& number : layout.numbers)
    out << "    record->" << number.path << " = static_cast<u_int" << 8 * number.leaf().size
        << "_t>(drovik::getBits(image, " << number.bit << ", " << number.bits << "));\n";
  out << "}\n"
      << "inline void " << layout.functions << "_pack(const " << layout.type
      << "* record, u_int8_t* image) {\n"
      << "    std::memcpy(image, record->reserved, sizeof record->reserved);\n";
  for (const NumberLayout& number : layout.numbers)
    out << "    drovik::setBits(image, " << number.bit << ", " << number.bits << ", record->" << number.path
        << ");\n";
  out << "}\n\n";
}

/// Push counters are stored through a view, counter by counter, and not through the record.
void writeView(BlockEmitter& out, const RecordLayout& layout) {
  out << "struct " << layout.type << "_view_t {\n"
      << "    " << layout.image << " image;\n";
  for (const NumberLayout& number : layout.numbers)
    out << "    void set_" << number.path << "(u_int64_t value) { drovik::setBits(image.bytes, " << number.bit
        << ", " << number.bits << ", value); }\n";
  out << "};\n";
}

bool isOfServer(const SimulatorHeader& header) { return header.path.starts_with("server/"); }

}  // namespace

std::string recordsHeader() {
  SectionStream text;
  BlockEmitter out(text);
  out << "#pragma once\n\n"
         "// Written by siminfo. Included by drovik_fabric.h.\n\n";
  for (const RecordLayout& layout : recordLayouts()) writeRecord(out, layout);
  writeView(out, recordLayout<ZYRPushReductionCounters>());
  return std::string(text.text());
}

bool isSimulatorName(std::string_view name) {
  static constexpr std::array<std::string_view, 4> kOthers{"drovik", "main", "phys_port_t", "std"};
  const auto isOf = [name](const RecordLayout& layout) {
    return name == layout.type || name == layout.image || name == layout.functions + "_unpack" ||
           name == layout.functions + "_pack" || name == layout.type + "_view_t";
  };
  return std::ranges::find(kOthers, name) != kOthers.end() ||
         std::ranges::find(kNodeClasses, name) != kNodeClasses.end() ||
         std::ranges::any_of(recordLayouts(), isOf);
}

std::string dumpHeader(const std::string& name) {
  SectionStream text;
  BlockEmitter out(text);
  out << "#pragma once\n\n"
         "// Written by siminfo. The class of a dump: in it a class for each class of node, whose member "
         "functions\n"
         "// restore the node that it was made with.\n\n"
         "#include \"../../core/node.h\"\n\n"
         "class "
      << name << " {\npublic:\n";
  for (const std::string_view nodeClass : kNodeClasses) {
    out << "    class " << nodeClass << " {\n    public:\n        explicit " << nodeClass
        << "(drovik::Node* node) : m_node(node) {}\n";
    for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames())
      out << "        void " << frame.method << "();\n";
    out << "\n    private:\n        drovik::Node* m_node;\n    };\n";
  }
  out << "};\n";
  return std::string(text.text());
}

void writeFile(const std::filesystem::path& path, std::string_view text, Durability durability) {
  std::filesystem::create_directories(path.parent_path());
  OutputDirectory folder(path.parent_path(), durability);
  if (folder.put(path.filename(), text) != 0) throw std::runtime_error(folder.failure());
}

void writeSimulator(const std::filesystem::path& root, Durability durability) {
  for (const SimulatorHeader& header : kSimulatorHeaders) {
    if (!isOfServer(header)) writeFile(root / header.path, header.text, durability);
  }
  writeFile(root / "infiniband/drovik/drovik_records.h", recordsHeader(), durability);
}

void writeServer(const std::filesystem::path& root) {
  for (const SimulatorHeader& header : kSimulatorHeaders) {
    if (isOfServer(header)) writeFile(root / header.path, header.text);
  }
}

}  // namespace siminfo
