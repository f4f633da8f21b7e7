#pragma once

// Runs the set functions of one node's class, each on a fresh simulated node, and prints which stored images
// they changed. Compiled behind the generated source that defines the functions.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "../../core/node.h"

class VerifyProbe {
 public:
  using Keys = std::vector<std::pair<unsigned, unsigned>>;

  VerifyProbe(unsigned lastPort, const Keys& pushKeys) : lastPort_(lastPort), pushKeys_(pushKeys) {
    alarm(60);  // a generated loop that never ends must not hold up whoever waits
  }

  /// Every stored bit is set before one of the two runs and clear before the other, so a number that is not
  /// assigned, or assigned where it should not be, is wrong in one of them whatever its value.
  void run(const char* frame, void (*set)(drovik::Node*)) const {
    for (const int background : {0x5a, 0xa5}) {
      std::printf("frame %s %02x\n", frame, static_cast<unsigned>(background));
      std::fflush(stdout);
      drovik::Node node(static_cast<phys_port_t>(lastPort_));
      for (const auto& key : pushKeys_) node.pushCounters[key] = {};
      node.visitImages([=](const std::string&, u_int8_t* bytes, std::size_t size) {
        std::memset(bytes, background, size);
      });
      node.resizePortPkeyTable(static_cast<std::size_t>(background));
      set(&node);
      printChanges(node, background);
      std::printf("end\n");
      std::fflush(stdout);
    }
  }

 private:
  static void printChanges(drovik::Node& node, int background) {
    node.visitImages([=](const std::string& name, const u_int8_t* bytes, std::size_t size) {
      std::size_t same = 0;
      while (same < size && bytes[same] == background) ++same;
      if (same < size) print(name, bytes, size);
    });
    for (std::size_t port = 0; port < node.portPkeyTables.size(); ++port) {
      const std::size_t entries = node.portPkeyTables[port].size();
      if (entries == static_cast<std::size_t>(background)) continue;
      u_int8_t image[4];
      drovik::setBits(image, 0, 32, entries);
      print("portPkeyTables[" + std::to_string(port) + "]", image, sizeof image);
    }
  }

  static void print(const std::string& name, const u_int8_t* bytes, std::size_t size) {
    std::printf("%s: ", name.c_str());
    for (std::size_t i = 0; i < size; ++i) std::printf("%02x", static_cast<unsigned>(bytes[i]));
    std::printf("\n");
  }

  unsigned lastPort_;
  Keys pushKeys_;
};
