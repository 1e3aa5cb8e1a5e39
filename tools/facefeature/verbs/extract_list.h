// "facefeature extract --list": extracts the photographs of a list.
#ifndef FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_H
#define FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_H

#include <facefeature/batch.h>

#include <cstddef>
#include <string>

#include "base/failure.h"
#include "batch/photo_list.h"
#include "batch/progress.h"
#include "face/face_photo.h"

namespace facefeature_tools {

struct ExtractListRequest {
  std::string list;
  std::string gallery;
  std::string model;  // empty: the folder that the library reads by default
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;  // which of several faces the detector takes, for photographs without landmarks
  unsigned jobs = 0;                 // worker processes; 0: as many as there are processors
  unsigned batch = kFaceBatchFaces;  // photographs that a worker extracts in one pass
  ProgressFormat progress = ProgressFormat::kPlain;
  bool resume = false;
  Shard shard;
  std::string report;  // empty: no report
};

// Reads the photographs of a list and writes a gallery. A photograph that fails gives a line on
// standard error and a line in the report; the gallery has all others, and the exit code is
// kBadInput. If a signal interrupts the run, its work is kept in GALLERY.unfinished, which people
// can use, and GALLERY.journal, from which another run resumes. The process then ends with that
// signal.
ExitCode runExtractList(const ExtractListRequest& request);

}  // namespace facefeature_tools

#endif
