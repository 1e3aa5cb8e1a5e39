// "facefeature extract --list": the photographs of a list.
#ifndef FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_H
#define FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_H

#include <cstddef>
#include <string>

#include "base/failure.h"
#include "batch/photo_list.h"
#include "batch/progress.h"
#include "face/face_input.h"

namespace facefeature_tools {

struct ExtractListRequest {
  std::string list;
  std::string gallery;
  std::string model;  // empty: the folder that the library reads by itself
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;    // of several that the detector finds, in each photograph without landmarks
  unsigned jobs = 0;  // worker processes; 0: as many as there are processors
  ProgressForm progress = ProgressForm::kPlain;
  bool resume = false;
  Shard shard;
  std::string report;  // empty: none is written
};

// Reads the photographs of a list and writes a gallery. A photograph that has no feature is one
// line on standard error and one in the report; the gallery is complete without it, and the exit
// code kBadInput says that there are some. What a signal interrupts is kept beside the gallery, as
// GALLERY.unfinished for people and GALLERY.journal for a run that resumes it; the process then
// ends by that signal.
ExitCode runExtractList(const ExtractListRequest& request);

}  // namespace facefeature_tools

#endif
