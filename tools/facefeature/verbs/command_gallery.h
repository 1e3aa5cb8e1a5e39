// The verbs about galleries, and "model fingerprint", on the command line.
#ifndef FACEFEATURE_TOOLS_VERBS_COMMAND_GALLERY_H
#define FACEFEATURE_TOOLS_VERBS_COMMAND_GALLERY_H

#include <CLI/CLI.hpp>
#include <string>

#include "base/failure.h"
#include "verbs/verb_gallery_export.h"
#include "verbs/verb_gallery_info.h"
#include "verbs/verb_gallery_merge.h"
#include "verbs/verb_model_fingerprint.h"

namespace facefeature_tools {

class GalleryCommands {
 public:
  // Adds "gallery" to the program and "fingerprint" to its verb "model".
  GalleryCommands(CLI::App& app, CLI::App& model);

  // The words of the verb that the command line names, as far as it names one of these.
  std::string named() const;

  // Is there one of these to run?
  bool parsed() const;
  ExitCode run() const;

 private:
  CLI::App* gallery_;
  CLI::App* info_;
  CLI::App* export_;
  CLI::App* merge_;
  CLI::App* fingerprint_;

  GalleryInfoRequest infoRequest_;
  GalleryExportRequest exportRequest_;
  GalleryMergeRequest mergeRequest_;
  ModelFingerprintRequest fingerprintRequest_;
};

}  // namespace facefeature_tools

#endif
