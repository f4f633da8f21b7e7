#include "siminfo/verify/verifier.h"

#include "siminfo/verify/file_verifier.h"
#include "siminfo/verify/models_verifier.h"
#include "siminfo/verify/work_folder.h"

namespace siminfo {

Verification verify(Snapshot& snapshot, const std::vector<const IBNode*>& nodes, const VerifyRequest& request,
                    const VerifyWatch& watch) {
  const WorkFolder folder(request.keep);
  const auto verifyHere = request.use.empty() ? verifyModels : verifyFile;
  return verifyHere(snapshot, nodes, request, folder.path(), watch);
}

}  // namespace siminfo
