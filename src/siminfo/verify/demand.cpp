#include "siminfo/verify/demand.h"

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/file_words.h"
#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

void append(std::string& key, std::string_view text) { key.append(text).push_back('\0'); }
void append(std::string& key, std::uint64_t value) {
  key.append(reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

std::string demandOf(const Facts& facts) {
  Facts brief = facts;
  brief.calledAs = "";
  brief.isBrief = true;
  const Expectation expectation(brief);
  std::string key = nodeClass(facts.node);
  append(key, facts.node.numPorts);
  append(key, facts.node.orbelSwitch ? 1U : 0U);
  for (const Rule& rule : rules()) {
    const FramePlan plan = planOf(rule, brief);
    append(key, plan.line);
    if (plan.carriage != Carriage::kCarried) {
      append(key, expectation.absence(rule.frame));
      continue;
    }
    for (const ExpectedImage& image : rule.images(brief, plan)) {
      append(key, image.name);
      for (const ExpectedNumber& number : image.numbers) append(key, number.value);
    }
  }
  return key;
}

}  // namespace siminfo
