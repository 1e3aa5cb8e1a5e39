// The threshold of a verb: a number, or one of a file that an evaluation wrote.
#ifndef FACEFEATURE_TOOLS_VERBS_THRESHOLD_OPTION_H
#define FACEFEATURE_TOOLS_VERBS_THRESHOLD_OPTION_H

#include <optional>
#include <string>
#include <vector>

#include "gallery/gallery_file.h"
#include "verbs/options.h"
#include "verbs/verb.h"

namespace facefeature_tools {

struct ThresholdChoice {
  // A float, as scores are: a score that was printed and is given back reaches it.
  std::optional<float> number;
  std::string file;  // FILE or FILE#NAME, or empty

  bool isGiven() const { return number || !file.empty(); }
};

// Adds --threshold, with this help, and --threshold-file. choice outlives the parse.
void addThreshold(Options& options, ThresholdChoice& choice, const std::string& help);

// The threshold, if one is given. A threshold of a file is checked against the model of each
// gallery that is not null. If all are null, as for feature files, which do not name their model, a
// warning of the verb says that nothing was checked. Throws what readThreshold() and
// requireModelOf() throw.
std::optional<float> chosenThreshold(const Verb& verb, const ThresholdChoice& choice,
                                     const std::vector<const Gallery*>& galleries);

// The exit code for "no score reaches the threshold". Nothing else ends with it then.
constexpr ExitCode kBelow = kFailed;

// Calls run() and returns its exit code. Failures with the code kFailed, which is kBelow, are
// thrown with kNoAnswer: a missing library must not be taken for a stranger's face.
ExitCode runForAnswer(const VerbRun& run);

}  // namespace facefeature_tools

#endif
