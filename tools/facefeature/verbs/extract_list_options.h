// The command line options of "extract --list".
#ifndef FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_OPTIONS_H
#define FACEFEATURE_TOOLS_VERBS_EXTRACT_LIST_OPTIONS_H

#include <string>

#include "base/failure.h"
#include "verbs/extract_list.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {

class ExtractListOptions {
 public:
  // Adds the options to "extract", which must already have its own. The object outlives the parse.
  explicit ExtractListOptions(Options& options);
  ExtractListOptions(const ExtractListOptions&) = delete;
  ExtractListOptions& operator=(const ExtractListOptions&) = delete;

  // Whether the command line has a list.
  bool given() const { return !request_.list.empty(); }
  // common has the options for a single photograph: output, model, --exif and --face have the same
  // meaning here.
  ExitCode run(const ExtractRequest& common) const;

 private:
  ExtractListRequest request_;
  std::string progress_ = "auto";
};

}  // namespace facefeature_tools

#endif
