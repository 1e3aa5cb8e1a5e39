// "extract --list" on the command line: what it adds to "extract".
#ifndef FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_OPTIONS_H
#define FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_OPTIONS_H

#include <string>

#include "base/failure.h"
#include "verbs/extract_list.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {

class ExtractListOptions {
 public:
  // Adds the options to "extract", which must have its own already. The object outlives the parse.
  explicit ExtractListOptions(Options& options);
  ExtractListOptions(const ExtractListOptions&) = delete;
  ExtractListOptions& operator=(const ExtractListOptions&) = delete;

  // Whether the command line asks for a list.
  bool given() const { return !request_.list.empty(); }
  // common is what was parsed for a single photograph: output, model, --exif and --face mean the
  // same here.
  ExitCode run(const ExtractRequest& common) const;

 private:
  ExtractListRequest request_;
  std::string progress_ = "auto";
};

}  // namespace facefeature_tools

#endif
