#include "verbs/threshold_option.h"

#include <cmath>
#include <cstdlib>

#include "evaluation/threshold_file.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

// Empty for a valid number, otherwise the error.
std::string thresholdFault(const std::string& text) {
  char* end = nullptr;
  const float value = std::strtof(text.c_str(), &end);
  const bool isNumber = end != text.c_str() && *end == '\0' && !std::isnan(value);
  return isNumber ? "" : text + " is not a number";
}

}  // namespace

void addThreshold(Options& options, ThresholdChoice& choice, const std::string& help) {
  const Option number =
      options.add("--threshold", choice.number, help).check(thresholdFault).valueName("T");
  options
      .add("--threshold-file", choice.file,
           "Read T from a file of facefeature evaluate: its default, or with FILE#NAME that of a "
           "false match rate such as 1e-4, or eer")
      .excludes(number)
      .valueName("FILE");
}

std::optional<float> chosenThreshold(const Verb& verb, const ThresholdChoice& choice,
                                     const std::vector<const Gallery*>& galleries) {
  if (choice.file.empty()) return choice.number;
  const FileThreshold threshold = readThreshold(choice.file);
  bool isChecked = false;
  for (const Gallery* gallery : galleries) {
    if (gallery == nullptr) continue;
    requireModelOf(threshold, gallery->path(), gallery->origin().model);
    isChecked = true;
  }
  if (!isChecked) {
    say(verb.name, threshold.path + ": warning: it is for the model " + hexText(threshold.model) +
                       ", and feature files do not record their model.");
  }
  return threshold.threshold;
}

ExitCode runForAnswer(const VerbRun& run) {
  try {
    return run();
  } catch (const Failure& failure) {
    throw Failure(failure.code() == kFailed ? kNoAnswer : failure.code(), failure);
  } catch (const std::exception& error) {
    throw Failure(kNoAnswer, std::runtime_error(error.what()));
  }
}

}  // namespace facefeature_tools
