#include "verbs/verb_list.h"

#include "verbs/verb_cluster.h"
#include "verbs/verb_compare.h"
#include "verbs/verb_draw.h"
#include "verbs/verb_evaluate.h"
#include "verbs/verb_extract.h"
#include "verbs/verb_extract_worker.h"
#include "verbs/verb_gallery_add.h"
#include "verbs/verb_gallery_compact.h"
#include "verbs/verb_gallery_export.h"
#include "verbs/verb_gallery_info.h"
#include "verbs/verb_gallery_merge.h"
#include "verbs/verb_gallery_remove.h"
#include "verbs/verb_gallery_verify.h"
#include "verbs/verb_landmarks.h"
#include "verbs/verb_model_check.h"
#include "verbs/verb_model_fingerprint.h"
#include "verbs/verb_model_synth.h"
#include "verbs/verb_search.h"
#include "verbs/verb_serve.h"
#include "verbs/verb_serve_worker.h"
#include "verbs/verb_view.h"

namespace facefeature_tools {

const std::vector<const Verb*>& allVerbs() {
  // A line for each verb.
  // clang-format off
  static const std::vector<const Verb*> verbs = {
      &kModelSynthVerb,
      &kModelCheckVerb,
      &kModelFingerprintVerb,
      &kExtractVerb,
      &kCompareVerb,
      &kSearchVerb,
      &kEvaluateVerb,
      &kClusterVerb,
      &kLandmarksVerb,
      &kDrawVerb,
      &kViewVerb,
      &kGalleryInfoVerb,
      &kGalleryExportVerb,
      &kGalleryMergeVerb,
      &kGalleryAddVerb,
      &kGalleryRemoveVerb,
      &kGalleryCompactVerb,
      &kGalleryVerifyVerb,
      &kServeVerb,
      &kExtractWorkerVerb,
      &kServeWorkerVerb,
  };
  // clang-format on
  return verbs;
}

const std::map<std::string, std::string>& verbGroups() {
  static const std::map<std::string, std::string> groups = {
      {"gallery", "Inspect, change, check, convert or join galleries"},
      {"model", "Make or check a folder of model files"},
  };
  return groups;
}

}  // namespace facefeature_tools
