// Restores every node of the fabric and prints its name with the first bytes of its NodeInfo.

#include <core/restore_program.h>

#include <cstdio>

#include "fab1.h"

int main() {
  for (const drovik::TableNode& entry : drovik::readTable(NODE_TABLE)) {
    const drovik::Model& model = Fab1::models().at(entry.model);
    drovik::Node node(static_cast<phys_port_t>(model.ports));
    drovik::restore(model, node);
    std::printf("%s:", entry.name.c_str());
    for (int i = 0; i < 8; ++i) std::printf(" %02x", static_cast<unsigned>(node.nodeInfo.bytes[i]));
    std::printf("\n");
  }
}
