#include "verbs/verb_gallery_verify.h"

#include <memory>
#include <string>
#include <vector>

#include "base/failure.h"
#include "base/standard_output.h"
#include "gallery/gallery_layout.h"
#include "gallery/gallery_verify.h"

namespace facefeature_tools {
namespace {

// Reports the errors of a gallery. Returns true if there are none.
bool verify(const std::string& path) {
  std::vector<std::string> faults;
  try {
    const Gallery gallery(path);
    faults = galleryFaults(gallery);
    if (faults.empty()) {
      printData(path +
                (gallery.version() == kOldGalleryVersion ? ": ok, without digests\n" : ": ok\n"));
    }
  } catch (const Failure& failure) {
    say(kGalleryVerifyVerb.name, failure.what());
    return false;
  }
  for (const std::string& fault : faults) say(kGalleryVerifyVerb.name, path + ": " + fault + ".");
  return faults.empty();
}

ExitCode runGalleryVerify(const std::vector<std::string>& paths) {
  bool allAreGood = true;
  for (const std::string& path : paths) allAreGood = verify(path) && allAreGood;
  finishData();
  return allAreGood ? kDone : kBadInput;
}

VerbRun define(Options& options) {
  auto paths = std::make_shared<std::vector<std::string>>();
  options.add("GALLERY", *paths, "Gallery files").required();
  return [paths] { return runGalleryVerify(*paths); };
}

}  // namespace

const Verb kGalleryVerifyVerb = {"gallery verify", "Check every byte of galleries", define};

}  // namespace facefeature_tools
