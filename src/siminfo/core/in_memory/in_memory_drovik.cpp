#include "siminfo/core/in_memory/in_memory_drovik.h"

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/in_memory/host_name_check.h"
#include "siminfo/core/version.h"

namespace siminfo {

int InMemoryDrovik::OpenFile(const std::string&, const OutputControl::Identity& identity, std::ofstream& out,
                             bool, const char*) {
  if (std::string fault = hostNameFault(); !fault.empty()) return files_.refuse(std::move(fault));
  return files_.open(identity.fileName(), out);
}

int InMemoryDrovik::CloseFile(std::ofstream& out, const char* commentPrefix) {
  BlockEmitter(out) << "\n" << commentPrefix << " End of file, " << toolNameAndVersion() << "\n";
  return files_.close(out);
}

}  // namespace siminfo
