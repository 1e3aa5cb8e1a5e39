// Windows stores owners and rights as access control lists (GetNamedSecurityInfo). They are not
// read.
#include "model/folder_ownership.h"

namespace facefeature_tools {

uint32_t callingUser() { return 0; }

std::vector<OwnershipWarning> ownershipWarnings(const std::string& /*folder*/,
                                                uint32_t /*caller*/) {
  return {};
}

}  // namespace facefeature_tools
