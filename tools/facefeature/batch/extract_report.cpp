#include "batch/extract_report.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "base/csv.h"
#include "base/output_file.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr size_t kLimit = size_t{1} << 32;

}  // namespace

void ExtractReport::addEarlier(const std::string& path, const ExtractJournal& done) {
  if (!std::filesystem::exists(path)) return;
  std::unordered_map<std::string_view, size_t> indices;
  for (size_t index = 0; index < entries_.size(); ++index) {
    if (done.holds(entries_[index].id)) indices[entries_[index].id] = index;
  }
  try {
    const std::vector<uint8_t> bytes = readWholeFile(path, kLimit, "");
    for (const CsvRow& row :
         parseCsv(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()))) {
      if (row.fields.size() != 4) continue;
      const auto found = indices.find(row.fields[0]);
      if (found != indices.end()) add({found->second, row.fields[2], row.fields[3]});
    }
  } catch (const std::runtime_error&) {
    // It is not a report, and this run's replaces it.
  }
}

void ExtractReport::write(const std::string& path) const {
  std::vector<ReportLine> sorted = lines_;
  // Lines about one photograph keep their order.
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const ReportLine& a, const ReportLine& b) { return a.index < b.index; });
  OutputFile file(path);
  file.write("id,photo,outcome,text\n");
  for (const ReportLine& line : sorted) {
    const PhotoEntry& entry = entries_[line.index];
    file.write(csvField(entry.id) + "," + csvField(entry.photo) + "," + line.outcome + "," +
               csvField(line.text) + "\n");
  }
  file.publish();
}

}  // namespace facefeature_tools
