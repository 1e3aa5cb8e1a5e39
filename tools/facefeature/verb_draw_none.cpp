// The program without a drawing library.
#include "verb_draw.h"

namespace facefeature_tools {

bool facesCanBeDrawn() { return false; }

ExitCode runDraw(const DrawRequest&) {
  throw Failure(kFailed, "drawing", "this program was built without cairo",
                "Build it where libcairo2-dev is installed");
}

}  // namespace facefeature_tools
