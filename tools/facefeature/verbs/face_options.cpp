#include "verbs/face_options.h"

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "face/face_finder.h"
#include "face/face_input.h"

namespace facefeature_tools {

void addExif(Options& options, ExifRule& rule) {
  const std::map<std::string, ExifRule> rules = {
      {exifRuleName(ExifRule::kIgnore), ExifRule::kIgnore},
      {exifRuleName(ExifRule::kApply), ExifRule::kApply}};
  options.cli()
      .add_option(
          kExifOption, rule,
          "What to do about the orientation in the Exif data of a JPEG: ignore (landmarks are "
          "for the pixels as stored) or apply")
      ->transform(CLI::CheckedTransformer(rules))
      ->option_text("ignore|apply");
}

Option addFace(Options& options, size_t& face) {
  return Option(
      options.cli()
          .add_option(kFaceOption, face, "Which of several faces that are found; 1 is the largest")
          ->check(CLI::Range(1, 1000000))
          ->option_text("N"));
}

void addLandmarks(Options& options, std::string& landmarks) {
  options.cli()
      .add_option("LANDMARKS", landmarks,
                  facesCanBeFound() ? "JSON file with its landmarks; without it, they are found"
                                    : "JSON file with its landmarks")
      ->required(!facesCanBeFound());
}

}  // namespace facefeature_tools
