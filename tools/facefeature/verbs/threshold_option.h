// The threshold of a verb: a number, or a threshold from a file that an evaluation wrote.
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
  // A float, like scores, so that a printed score reaches itself as a threshold.
  std::optional<float> number;
  std::string file;  // FILE or FILE#NAME, or empty

  bool isGiven() const { return number || !file.empty(); }
};

// Adds --threshold, with this help text, and --threshold-file. choice must outlive the parse.
void addThreshold(Options& options, ThresholdChoice& choice, const std::string& help);

// The threshold, if one is given. A threshold from a file is checked against the model of each
// gallery that is not null. If all are null, because feature files do not name their model, the
// verb warns that nothing was checked. Throws like readThreshold() and requireModelOf().
std::optional<float> chosenThreshold(const Verb& verb, const ThresholdChoice& choice,
                                     const std::vector<const Gallery*>& galleries);

// The exit code for "no score reaches the threshold". With a threshold, nothing else has this code.
constexpr ExitCode kBelow = kFailed;

// Calls run() and returns its exit code. Failures with the code kFailed, which equals kBelow, are
// rethrown with kNoAnswer: a missing library must not look like a stranger's face.
ExitCode runForAnswer(const VerbRun& run);

}  // namespace facefeature_tools

#endif
