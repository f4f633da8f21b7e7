#pragma once

// Runs the set functions of devices, each on simulated nodes that hold what background.h says, and prints
// which stored images they changed. Compiled behind the generated source that defines the functions.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "background.h"
#include "core/node.h"
#include "machine_fault.h"

using PushKeys = std::vector<std::pair<unsigned, unsigned>>;

/// A simulated node before a set function of run 0 or 1 is called, and what the function did to it.
class ProbeNode {
 public:
  ProbeNode(unsigned lastPort, const PushKeys& pushKeys, unsigned number)
      : node_(static_cast<phys_port_t>(lastPort)), number_(number) {
    for (const auto& key : pushKeys) node_.pushCounters[key] = {};
    images_ = imagesOf(node_);
    for (const Image& image : images_) std::memset(image.bytes, image.background, image.size);
    node_.resizePortPkeyTable(backgroundOf(kTables, number_));
    shape_ = shapeOf(node_);
  }
  ProbeNode(const ProbeNode&) = delete;
  ProbeNode& operator=(const ProbeNode&) = delete;

  drovik::Node* node() { return &node_; }

  /// Prints the images that the function changed, and puts them back. Returns whether the node is as it was.
  bool printChanges() {
    const bool isSound = shapeOf(node_) == shape_;
    for (const Image& image : isSound ? images_ : imagesOf(node_)) {
      std::size_t same = 0;
      while (same < image.size && image.bytes[same] == image.background) ++same;
      if (same == image.size) continue;
      print(image.name, image.bytes, image.size);
      std::memset(image.bytes, image.background, image.size);
    }
    printTables();
    return isSound;
  }

 private:
  static constexpr const char* kTables = "portPkeyTables";

  struct Image {
    std::string name;
    u_int8_t* bytes;
    std::size_t size;
    u_int8_t background;
  };
  using Shape = std::array<std::size_t, 7>;

  std::vector<Image> imagesOf(drovik::Node& node) const {
    std::vector<Image> images;
    node.visitImages([&](const std::string& name, u_int8_t* bytes, std::size_t size) {
      images.push_back({name, bytes, size, backgroundOf(name, number_)});
    });
    return images;
  }

  /// The numbers of everything that a node may have more or less of.
  static Shape shapeOf(const drovik::Node& node) {
    return {node.numPorts,
            node.nodePortsInfo.size(),
            node.nodeExtPortsInfo.size(),
            node.nodePortsInfoExt.size(),
            node.counterSets.size(),
            node.pushCounters.size(),
            node.portPkeyTables.size()};
  }

  void printTables() {
    const std::size_t background = backgroundOf(kTables, number_);
    for (std::size_t port = 0; port < node_.portPkeyTables.size(); ++port) {
      const std::size_t entries = node_.portPkeyTables[port].size();
      if (entries == background) continue;
      u_int8_t image[4];
      drovik::setBits(image, 0, 32, entries);
      print(kTables + ("[" + std::to_string(port) + "]"), image, sizeof image);
    }
    node_.resizePortPkeyTable(background);
  }

  static void print(const std::string& name, const u_int8_t* bytes, std::size_t size) {
    std::printf("%s: ", name.c_str());
    for (std::size_t i = 0; i < size; ++i) {
      std::putchar("0123456789abcdef"[bytes[i] >> 4U]);
      std::putchar("0123456789abcdef"[bytes[i] & 15U]);
    }
    std::putchar('\n');
  }

  drovik::Node node_;
  unsigned number_;
  std::vector<Image> images_;
  Shape shape_{};
};

class VerifyProbe {
 public:
  /// `skip` functions are left out: those that ran before, and the one that then ended the program. `memory`
  /// is the number of bytes that the program may have.
  VerifyProbe(const char* skip, const char* memory) : skip_(std::atoi(skip)) {
    memoryLimit = std::strtoull(memory, nullptr, 10);
    std::set_new_handler(onWantOfMemory);
  }

  /// Runs the functions of the device with that number. `set(node, i)` calls the one whose name is the i-th.
  void run(unsigned device, unsigned lastPort, const PushKeys& pushKeys,
           std::initializer_list<const char*> frames, void (*set)(drovik::Node* node, unsigned frame)) {
    std::array<std::unique_ptr<ProbeNode>, 2> nodes;
    unsigned index = 0;
    for (const char* frame : frames) {
      const unsigned which = index++;
      if (skip_-- > 0) continue;
      for (const unsigned number : {0U, 1U}) {
        std::printf("frame %u %s %u\n", device, frame, number);
        flush();
        std::unique_ptr<ProbeNode>& probe = nodes[number];
        if (!probe) probe = std::make_unique<ProbeNode>(lastPort, pushKeys, number);
        set(probe->node(), which);
        if (!probe->printChanges()) probe.reset();
        std::printf("end\n");
        flush();
      }
    }
  }

 private:
  static void flush() {
    if (std::fflush(stdout) != 0) _exit(machineFaultStatus(errno));
  }

  /// A function that asks for more than there may be is wrong, and ends as one that throws. Where a little
  /// cannot be had either, and not because of the limit, the machine has no more.
  static void onWantOfMemory() {
    constexpr std::size_t kLittle = std::size_t{1} << 24U;
    void* little = mmap(nullptr, kLittle, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (little == MAP_FAILED && usedMemory() + kLittle < memoryLimit) _exit(machineFaultStatus(ENOMEM));
    std::abort();
  }
  static std::size_t usedMemory() {
    char pages[64] = {};
    const int file = open("/proc/self/statm", O_RDONLY);
    if (file < 0 || read(file, pages, sizeof pages - 1) < 0) return 0;
    close(file);
    return std::strtoull(pages, nullptr, 10) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  }

  static inline std::size_t memoryLimit = 0;
  int skip_;
};
