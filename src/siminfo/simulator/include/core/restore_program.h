#pragma once

// The program of a dump's project: restores the nodes of its table and tells what became of them.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "model_registry.h"

namespace drovik {

/// A line of the table: "guid model ports name" between tabs.
struct TableNode {
  std::string guid;  ///< "0x" and sixteen digits
  std::string model;
  std::string name;
};

inline std::vector<TableNode> readTable(const char* file) {
  std::vector<TableNode> nodes;
  std::ifstream table(file);
  std::string line;
  std::getline(table, line);  // the columns' names
  while (std::getline(table, line)) {
    const std::size_t model = line.find('\t') + 1;
    const std::size_t ports = line.find('\t', model) + 1;
    const std::size_t name = line.find('\t', ports) + 1;
    nodes.push_back({line.substr(0, model - 1), line.substr(model, ports - 1 - model), line.substr(name)});
  }
  return nodes;
}

/// Whether a person means the node: by its name, or by its GUID in hexadecimal.
inline bool isMeant(const TableNode& node, const std::string& word) {
  if (word == node.name) return true;
  char* end = nullptr;
  const unsigned long long guid = std::strtoull(word.c_str(), &end, 16);
  return !word.empty() && *end == '\0' && guid == std::strtoull(node.guid.c_str(), nullptr, 16);
}

inline void printImages(Node& node) {
  node.visitImages([](const std::string& name, const u_int8_t* bytes, std::size_t size) {
    std::printf("%s: ", name.c_str());
    for (std::size_t i = 0; i < size; ++i) std::printf("%02x", static_cast<unsigned>(bytes[i]));
    std::printf("\n");
  });
}

/// What the command line asks for.
struct RestoreRequest {
  std::set<std::string> words;  ///< names or GUIDs of nodes; all nodes when there are none
  bool isDump = false;
};

class RestoreProgram {
 public:
  RestoreProgram(const Models& models, const char* table) : models_(models), table_(table) {}

  /// The program's exit status: 0 when every node that was asked for is restored, 2 for a wrong command line,
  /// and 1 for all else that goes wrong.
  int run(int argc, char** argv) {
    RestoreRequest request;
    for (int i = 1; i < argc; ++i) {
      const std::string word = argv[i];
      if (word == "--help") return help(argv[0]);
      if (word == "--dump")
        request.isDump = true;
      else if (word.compare(0, 1, "-") == 0)
        return fail("there is no option " + word + "; try --help", 2);
      else
        request.words.insert(word);
    }
    if (request.isDump && request.words.empty())
      return fail("--dump: expected the name or GUID of a node", 2);
    return restoreNodes(request);
  }

 private:
  int help(const char* program) const {
    std::printf(
        "%s [NODE]...         restores the nodes of the table, or those of these names and GUIDs, and prints "
        "of each\n"
        "                     GUID, model, number of restored attributes and name\n"
        "%s --dump NODE...    prints the stored images of the nodes, in hexadecimal\n"
        "The table: %s\n",
        program, program, table_);
    return 0;
  }
  static int fail(const std::string& message, int status) {
    std::fprintf(stderr, "error: %s\n", message.c_str());
    return status;
  }

  int restoreNodes(const RestoreRequest& request) {
    const std::vector<TableNode> nodes = readTable(table_);
    if (nodes.empty()) return fail(std::string(table_) + ": has no node in it, or cannot be read", 1);
    std::set<std::string> unknown = request.words;
    for (const TableNode& node : nodes) {
      bool isAsked = request.words.empty();
      for (const std::string& word : request.words) {
        if (!isMeant(node, word)) continue;
        isAsked = true;
        unknown.erase(word);
      }
      if (isAsked && !restoreNode(node, request.isDump))
        return fail(std::string(table_) + ": " + node.name + ": no model is called " + node.model, 1);
    }
    for (const std::string& word : unknown) fail("there is no node " + word + " in " + table_, 1);
    if (std::fflush(stdout) != 0) return fail("standard output cannot be written", 1);
    return unknown.empty() ? 0 : 1;
  }

  bool restoreNode(const TableNode& row, bool isDump) {
    const auto model = models_.find(row.model);
    if (model == models_.end()) return false;
    Node node(static_cast<phys_port_t>(model->second.ports));
    restore(model->second, node);
    if (isDump) {
      printImages(node);
      return true;
    }
    // Nodes of one model have the same functions, and what these do need be found out but once.
    const auto counted = attributes_.find(row.model);
    const unsigned attributes = counted != attributes_.end()
                                    ? counted->second
                                    : attributes_[row.model] = restoredAttributes(model->second);
    std::printf("%s %s %u %s\n", row.guid.c_str(), row.model.c_str(), attributes, row.name.c_str());
    return true;
  }

  const Models& models_;
  const char* table_;
  std::map<std::string, unsigned> attributes_;  ///< by model
};

}  // namespace drovik
