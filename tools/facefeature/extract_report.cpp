#include "extract_report.h"

#include <algorithm>

#include "csv.h"
#include "output_file.h"

namespace facefeature_tools {

void ExtractReport::write(const std::string& path) const {
  std::vector<ReportLine> sorted = lines_;
  // Lines about one photograph stay as they came.
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const ReportLine& a, const ReportLine& b) { return a.place < b.place; });
  OutputFile file(path);
  file.write("id,photo,outcome,text\n");
  for (const ReportLine& line : sorted) {
    const PhotoEntry& entry = entries_[line.place];
    file.write(csvField(entry.id) + "," + csvField(entry.photo) + "," + line.outcome + "," +
               csvField(line.text) + "\n");
  }
  file.publish();
}

}  // namespace facefeature_tools
