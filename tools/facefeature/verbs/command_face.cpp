#include "verbs/command_face.h"

#include <map>
#include <string>

namespace facefeature_tools {

void addExif(CLI::App& verb, ExifRule& rule) {
  const std::map<std::string, ExifRule> rules = {{exifWord(ExifRule::kIgnore), ExifRule::kIgnore},
                                                 {exifWord(ExifRule::kApply), ExifRule::kApply}};
  verb.add_option(kExifOption, rule,
                  "What to do about a turn told by the Exif data of a JPEG: ignore (landmarks are "
                  "for the pixels as stored) or apply")
      ->transform(CLI::CheckedTransformer(rules))
      ->option_text("ignore|apply");
}

CLI::Option* addFace(CLI::App& verb, size_t& face) {
  return verb
      .add_option(kFaceOption, face, "Of several faces that are found, this one; 1 is the largest")
      ->check(CLI::Range(1, 1000000))
      ->option_text("N");
}

}  // namespace facefeature_tools
