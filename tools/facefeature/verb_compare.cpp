#include "verb_compare.h"

#include <cerrno>
#include <cmath>
#include <cstdio>

#include "feature_file.h"
#include "library_loader.h"

namespace facefeature_tools {

ExitCode runCompare(const CompareRequest& request) {
  const FeatureVector first = readFeatureFile(request.first);
  const FeatureVector second = readFeatureFile(request.second);
  const LoadedLibrary library;
  const float score = library.compareFeatures(&first, &second);
  if (std::isnan(score)) {
    say(kCompareVerb, request.first + ", " + request.second +
                          ": warning: the score is not a number. One of the two is no feature of a "
                          "face; extract it anew.");
    // The sign of such a result is the processor's, and says nothing.
    std::puts("nan");
  } else {
    // Nine digits tell every float from its neighbours.
    std::printf("%.9g\n", static_cast<double>(score));
  }
  if (std::fflush(stdout) != 0) {
    throw Failure(kFailed, "standard output", "can't be written: " + systemMessage(errno),
                  "Send it to where there is room");
  }
  return kDone;
}

}  // namespace facefeature_tools
