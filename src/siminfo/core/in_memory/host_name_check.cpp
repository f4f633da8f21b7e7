#include "siminfo/core/in_memory/host_name_check.h"

#include "siminfo/core/host_name.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {

std::string hostNameFault() {
  const std::string name = hostName();
  const std::string fault = textFault(name);
  if (fault.empty()) return {};
  return "the name of this host, \"" + printable(name) + "\", is written into the source and " + fault +
         "; expected a name that stays on its line";
}

}  // namespace siminfo
