#include "base/failure.h"
#include "service/worker_sandbox.h"

namespace facefeature_tools {

bool hasSandbox() { return false; }

void enterSandbox() {
  throw Failure(kWrongUsage, "--sandbox", "this program was built without a sandbox",
                "Build it where libseccomp is installed");
}

}  // namespace facefeature_tools
