#include <algorithm>
#include <regex>

#include "siminfo/simulator/record_layout.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// What a simulator has to offer is told to people by hand, and must be all that generated source names.
TEST(SimulatorPage, NamesAllThatGeneratedSourceReliesOn) {
  const std::string page = readFile(SIMINFO_SOURCE_DIR "/docs/simulator.md");
  const std::string source = readFile(SIMINFO_SOURCE_DIR "/tests/golden/fab1_generated.cpp.txt");
  std::set<std::string> names;
  // Members and accessors, set functions, and whatever is declared or called by the name of a record.
  for (const char* pattern : {R"(m_node->(\w+))", R"(::(set\w+)\(\))", R"(\n +(?:const )?(\w+) \*?\w+ = )",
                              R"(\b(?:for \()(\w+) i)"}) {
    const std::regex each(pattern);
    for (std::sregex_iterator at(source.begin(), source.end(), each); at != std::sregex_iterator(); ++at)
      names.insert((*at)[1]);
  }
  for (const RecordLayout& layout : recordLayouts()) names.insert(layout.type);
  names.erase("size_t");
  names.erase("u_int8_t");
  EXPECT_GT(names.size(), 60U);
  for (const std::string& name : names) EXPECT_NE(page.find("`" + name), std::string::npos) << name;
}

}  // namespace
}  // namespace siminfo
