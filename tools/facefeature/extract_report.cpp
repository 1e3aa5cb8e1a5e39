#include "extract_report.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "csv.h"
#include "output_file.h"

namespace facefeature_tools {

void ExtractReport::addEarlier(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::unordered_map<std::string_view, size_t> places;
  for (size_t place = 0; place < entries_.size(); ++place) places[entries_[place].id] = place;
  try {
    for (const CsvRow& row : parseCsv(text)) {
      if (row.fields.size() != 4) continue;
      const auto place = places.find(row.fields[0]);
      if (place != places.end()) add({place->second, row.fields[2], row.fields[3]});
    }
  } catch (const std::runtime_error&) {
    // Whatever it is, it is no report, and this run's takes its place.
  }
}

void ExtractReport::forget(size_t place) {
  lines_.erase(std::remove_if(lines_.begin(), lines_.end(),
                              [place](const ReportLine& line) { return line.place == place; }),
               lines_.end());
}

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
