#pragma once

// Runs the set functions of one node's class, each on fresh simulated nodes, and prints which stored images
// they changed. Compiled behind the generated source that defines the functions.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "../../core/node.h"
#include "background.h"

class VerifyProbe {
 public:
  using Keys = std::vector<std::pair<unsigned, unsigned>>;

  /// `skip` functions are left out: those that ran before, and the one that then ended the program.
  VerifyProbe(unsigned lastPort, const Keys& pushKeys, const char* skip)
      : lastPort_(lastPort), pushKeys_(pushKeys), skip_(std::atoi(skip)) {
    alarm(60);  // a generated loop that never ends must not hold up whoever waits
  }

  void run(const char* frame, void (*set)(drovik::Node*)) {
    if (skip_-- > 0) return;
    for (const unsigned number : {0U, 1U}) {
      std::printf("frame %s %u\n", frame, number);
      std::fflush(stdout);
      drovik::Node node(static_cast<phys_port_t>(lastPort_));
      for (const auto& key : pushKeys_) node.pushCounters[key] = {};
      node.visitImages([=](const std::string& name, u_int8_t* bytes, std::size_t size) {
        std::memset(bytes, backgroundOf(name, number), size);
      });
      node.resizePortPkeyTable(backgroundOf(kTables, number));
      set(&node);
      printChanges(node, number);
      std::printf("end\n");
      std::fflush(stdout);
    }
  }

 private:
  static constexpr const char* kTables = "portPkeyTables";

  static void printChanges(drovik::Node& node, unsigned number) {
    node.visitImages([=](const std::string& name, const u_int8_t* bytes, std::size_t size) {
      const u_int8_t background = backgroundOf(name, number);
      std::size_t same = 0;
      while (same < size && bytes[same] == background) ++same;
      if (same < size) print(name, bytes, size);
    });
    for (std::size_t port = 0; port < node.portPkeyTables.size(); ++port) {
      const std::size_t entries = node.portPkeyTables[port].size();
      if (entries == backgroundOf(kTables, number)) continue;
      u_int8_t image[4];
      drovik::setBits(image, 0, 32, entries);
      print(kTables + ("[" + std::to_string(port) + "]"), image, sizeof image);
    }
  }

  static void print(const std::string& name, const u_int8_t* bytes, std::size_t size) {
    std::printf("%s: ", name.c_str());
    for (std::size_t i = 0; i < size; ++i) std::printf("%02x", static_cast<unsigned>(bytes[i]));
    std::printf("\n");
  }

  unsigned lastPort_;
  Keys pushKeys_;
  int skip_;
};
