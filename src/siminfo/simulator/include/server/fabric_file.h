#pragma once

// Reads the file in which siminfo hands over who the nodes are and what they are linked to. A line is a word
// and values, all between tabs:
//
//   siminfo_served_fabric 1
//   router_info ATTRIBUTE                      the number of RouterInfo
//   move RECORD BIT BITS BIT                   a field that is answered in another place
//   node GUID MODEL TYPE SYSTEM_GUID NODE_INFO SWITCH_INFO ROUTER_INFO DESCRIPTION NAME
//   port NUMBER STATE PHYSICAL_STATE GUID LID LMC WIDTH_SUPPORTED PORT_INFO PORT_INFO_EXTENDED
//   link NODE PORT WIDTH SPEED SPEED_EXT       of the port above; NODE counts the nodes from 0, and is "-"
//                                              when it is none of them
//
// Numbers are decimal, or hexadecimal behind 0x, the description is its bytes in hexadecimal, "-" is a width
// that the source knows or a GUID that nobody recorded, and of an attribute there is "answers", "silent", or
// the status to refuse it with. A port without a line is down, and that of a switch itself is up.

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fabric.h"

namespace drovik {

class FabricFile {
 public:
  FabricFile(const Models& models, std::string fileName) : models_(models), fileName_(std::move(fileName)) {}

  /// Throws std::runtime_error with file, line, and what is wrong.
  Fabric read() {
    std::ifstream file(fileName_, std::ios_base::binary);
    if (!file) throw std::runtime_error(fileName_ + ": cannot be read");
    for (std::string line; std::getline(file, line); readLine(line)) ++line_;
    if (line_ == 0) fail("expected \"siminfo_served_fabric\"");
    joinLinks();
    return std::move(fabric_);
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error(fileName_ + ":" + std::to_string(line_) + ": " + what);
  }

  void readLine(std::string_view line) {
    words_.clear();
    for (std::size_t tab = 0; tab != std::string_view::npos; line.remove_prefix(tab + 1)) {
      tab = line.find('\t');
      words_.push_back(line.substr(0, tab));
      if (tab == std::string_view::npos) break;
    }
    const std::string_view kind = words_[0];
    if (line_ == 1 || kind == "siminfo_served_fabric")
      readHead(kind);
    else if (kind == "router_info")
      expect(2), fabric_.routerInfoAttribute = static_cast<unsigned>(number(1, 0xffff));
    else if (kind == "move")
      readMove();
    else if (kind == "node")
      readNode();
    else if (kind == "port")
      readPort();
    else if (kind == "link")
      readLink();
    else
      fail("\"" + std::string(kind) + "\": expected node, port, link, move or router_info");
  }

  void expect(std::size_t words) const {
    if (words_.size() != words)
      fail(std::to_string(words_.size() - 1) + " values; expected " + std::to_string(words - 1));
  }

  u_int64_t number(std::size_t at, u_int64_t most) const {
    std::string_view text = words_[at];
    const bool isHex = text.substr(0, 2) == "0x";
    if (isHex) text.remove_prefix(2);
    u_int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size() || value > most)
      fail("value " + std::to_string(at) + ", \"" + std::string(words_[at]) + "\": expected a number up to " +
           std::to_string(most));
    return value;
  }
  unsigned small(std::size_t at, unsigned most) const { return static_cast<unsigned>(number(at, most)); }
  Status status(std::size_t at) const {
    if (words_[at] == "answers") return kDone;
    return words_[at] == "silent" ? kSilence : static_cast<Status>(number(at, 0x7fff));
  }

  void readHead(std::string_view kind) const {
    if (line_ != 1 || kind != "siminfo_served_fabric")
      fail("expected one line \"siminfo_served_fabric\", the first");
    expect(2);
    if (number(1, ~0U) != 1) fail("this server reads version 1");
  }

  void readMove() {
    expect(5);
    const bool isPort = words_[1] == "SMP_PortInfo";
    if (!isPort && words_[1] != "SMP_RouterInfo") fail("expected SMP_PortInfo or SMP_RouterInfo");
    const unsigned bits = small(3, 64);
    constexpr unsigned kBits = 512;
    const MovedField field{{static_cast<u_int16_t>(number(2, kBits - bits)), static_cast<u_int16_t>(bits)},
                           {static_cast<u_int16_t>(number(4, kBits - bits)), static_cast<u_int16_t>(bits)}};
    (isPort ? fabric_.portInfoFields : fabric_.routerInfoFields).push_back(field);
  }

  void readNode() {
    expect(10);
    const auto model = models_.find(std::string(words_[2]));
    if (model == models_.end()) fail("no model is called " + std::string(words_[2]));
    if (model->second.ports > 254) fail("the model has more than 254 ports");
    ServedNode& node = fabric_.nodes.emplace_back(model->second, model->second.ports);
    node.guid = number(1, ~0ULL);
    node.type = small(3, 255);
    node.systemGuid = number(4, ~0ULL);
    node.nodeInfo = status(5);
    node.switchInfo = status(6);
    node.routerInfo = status(7);
    readDescription(words_[8], node.description);
    node.name = words_[9];
    port_ = nullptr;
    beginPorts(node);
  }

  /// What ports are of which nothing is told, or no GUID.
  static void beginPorts(ServedNode& node) {
    for (unsigned port = 0; port <= node.lastPort(); ++port)
      node.ports[port].guid = node.isSwitch() ? node.guid : node.guid + port;
    if (node.isSwitch()) {
      node.ports[0].state = kActive;
      node.ports[0].physicalState = kLinkUp;
    }
  }

  void readDescription(std::string_view digits, AttributeBytes& bytes) const {
    if (digits.size() % 2 != 0 || digits.size() > 2 * bytes.size())
      fail("a description of " + std::to_string(digits.size()) + " digits");
    for (std::size_t i = 0; i < digits.size() / 2; ++i) {
      const char* at = digits.data() + 2 * i;
      if (std::from_chars(at, at + 2, bytes[i], 16).ptr != at + 2)
        fail("a description that is not hexadecimal");
    }
  }

  void readPort() {
    expect(10);
    if (fabric_.nodes.empty()) fail("a port before the first node");
    ServedNode& node = fabric_.nodes.back();
    port_ = &node.ports[small(1, node.lastPort())];
    port_->state = small(2, 15);
    port_->physicalState = small(3, 15);
    if (words_[4] != "-") port_->guid = number(4, ~0ULL);
    port_->lid = static_cast<u_int16_t>(number(5, 0xffff));
    port_->lmc = small(6, 7);
    if (words_[7] != "-") port_->widthSupported = small(7, 255);
    port_->info = status(8);
    port_->extended = status(9);
  }

  void readLink() {
    expect(6);
    if (port_ == nullptr) fail("a link before the first port of its node");
    const auto peerPort = static_cast<u_int8_t>(number(2, 254));
    if (words_[1] != "-") port_->peer = PortAt{static_cast<u_int32_t>(number(1, 0xffffffff)), peerPort};
    port_->active = {small(3, 255), small(4, 15), small(5, 15)};
  }

  /// Both ends of a cable know of it, though the file may tell of one alone.
  void joinLinks() {
    for (u_int32_t i = 0; i < fabric_.nodes.size(); ++i) {
      ServedNode& node = fabric_.nodes[i];
      for (unsigned port = 0; port <= node.lastPort(); ++port) {
        if (node.ports[port].peer && !join({i, static_cast<u_int8_t>(port)}))
          throw std::runtime_error(fileName_ + ": the link of port " + std::to_string(port) + " of " +
                                   node.name + ": expected one to a port that leads back, and not of port 0");
      }
    }
  }
  bool join(PortAt from) {
    const ServedPort& near = fabric_.node(from).ports[from.port];
    const PortAt to = *near.peer;
    const bool isPort = to.node < fabric_.nodes.size() && to.port <= fabric_.node(to).lastPort();
    if (!isPort || from.port == 0 || to.port == 0) return false;
    ServedPort& far = fabric_.node(to).ports[to.port];
    if (!far.peer) {
      far.peer = from;
      far.active = near.active;
    }
    return far.peer->node == from.node && far.peer->port == from.port;
  }

  const Models& models_;
  std::string fileName_;
  std::size_t line_ = 0;
  std::vector<std::string_view> words_;
  Fabric fabric_;
  ServedPort* port_ = nullptr;  // the last one
};

}  // namespace drovik
