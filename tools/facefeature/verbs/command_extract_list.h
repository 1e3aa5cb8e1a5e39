// "extract --list" on the command line: what it adds to "extract".
#ifndef FACEFEATURE_TOOLS_VERBS_COMMAND_EXTRACT_LIST_H
#define FACEFEATURE_TOOLS_VERBS_COMMAND_EXTRACT_LIST_H

#include <CLI/CLI.hpp>
#include <string>

#include "base/failure.h"
#include "verbs/verb_extract.h"
#include "verbs/verb_extract_list.h"

namespace facefeature_tools {

class ExtractListCommand {
 public:
  // Adds the options to "extract", which has its own already, and the workers' hidden verb to the
  // program. Both outlive the object.
  ExtractListCommand(CLI::App& app, CLI::App& extract);

  // Does the command line ask for a list, or for a worker?
  bool parsed() const;
  // common is what was parsed for a single photograph: output, model, --exif and --face mean the
  // same here.
  ExitCode run(const ExtractRequest& common) const;

 private:
  CLI::App* worker_;
  ExtractListRequest request_;
  ExtractRequest workerRequest_;  // of which a worker has --exif and --face
  std::string progress_ = "auto";
};

}  // namespace facefeature_tools

#endif
