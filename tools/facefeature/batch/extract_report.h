// The photographs of a list without a feature or with warnings, for programs to read.
#ifndef FACEFEATURE_TOOLS_BATCH_EXTRACT_REPORT_H
#define FACEFEATURE_TOOLS_BATCH_EXTRACT_REPORT_H

#include <cstddef>
#include <string>
#include <vector>

#include "batch/extract_journal.h"
#include "batch/photo_list.h"

namespace facefeature_tools {

struct ReportLine {
  size_t index;         // of the entry
  std::string outcome;  // "failed" or "warning"
  std::string text;
};

class ExtractReport {
 public:
  // The entries must outlive the report.
  explicit ExtractReport(const std::vector<PhotoEntry>& entries) : entries_(entries) {}

  void add(const ReportLine& line) { lines_.push_back(line); }

  // Adds what the report of an earlier run, if there is one, says about entries that are done.
  void addEarlier(const std::string& path, const ExtractJournal& done);

  // Writes CSV with the heading id,photo,outcome,text, in the order of the entries. Throws Failure
  // (kFailed).
  void write(const std::string& path) const;

 private:
  const std::vector<PhotoEntry>& entries_;
  std::vector<ReportLine> lines_;
};

}  // namespace facefeature_tools

#endif
