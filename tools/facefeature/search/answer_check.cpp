#include "search/answer_check.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>

#include "base/csv.h"
#include "base/failure.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Name a CSV file with the columns probe and id, as search writes it";
constexpr size_t kMaxBytes = size_t{1} << 32;

// The index of the column with this name, or nothing.
std::optional<size_t> columnOf(const CsvRow& heading, const std::string& name) {
  const auto found = std::find(heading.fields.begin(), heading.fields.end(), name);
  if (found == heading.fields.end()) return std::nullopt;
  return static_cast<size_t>(found - heading.fields.begin());
}

float scoreOf(const Gallery& gallery, const FeatureVector& probe, size_t row) {
  const FeatureVector feature = gallery.feature(row);
  float score;
  scoreRowsPlain(feature.values, 1, probe.values, 1, &score);
  return score;
}

bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

std::unordered_map<std::string, std::vector<EngineMatch>> readEngineAnswers(
    const std::string& path, const Gallery& gallery) {
  const std::vector<uint8_t> bytes = readWholeFile(path, kMaxBytes, kRemedy);
  std::vector<CsvRow> rows;
  try {
    rows = parseCsv(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  } catch (const std::runtime_error& error) {
    throw Failure(kBadInput, path, error.what(), kRemedy);
  }
  const auto wrong = [&path](const CsvRow& row, const std::string& text) {
    return Failure(kBadInput, path, "line " + std::to_string(row.line) + " " + text, kRemedy);
  };
  if (rows.empty()) throw Failure(kBadInput, path, "is empty", kRemedy);
  const auto probeColumn = columnOf(rows[0], "probe"), idColumn = columnOf(rows[0], "id");
  const auto scoreColumn = columnOf(rows[0], "score");
  if (!probeColumn || !idColumn) throw wrong(rows[0], "does not name the columns probe and id");

  const auto rowOfId = rowsById(gallery);
  std::unordered_map<std::string, std::vector<EngineMatch>> answers;
  std::set<std::pair<std::string, size_t>> seen;
  for (size_t i = 1; i < rows.size(); ++i) {
    const std::vector<std::string>& fields = rows[i].fields;
    if (fields.size() != rows[0].fields.size())
      throw wrong(rows[i], "has a different number of fields");
    const auto found = rowOfId.find(fields[*idColumn]);
    if (found == rowOfId.end()) {
      throw wrong(rows[i], "has an id that the gallery does not have: " + fields[*idColumn]);
    }
    if (!seen.insert({fields[*probeColumn], found->second}).second) {
      throw wrong(rows[i], "repeats an id: " + fields[*idColumn]);
    }
    EngineMatch match = {found->second, std::nullopt};
    if (scoreColumn) match.score = std::strtof(fields[*scoreColumn].c_str(), nullptr);
    answers[fields[*probeColumn]].push_back(match);
  }
  return answers;
}

void checkAnswer(const Gallery& gallery, const FeatureVector& probe, const ProbeAnswer& exact,
                 const std::vector<EngineMatch>& engine, AnswerCheck& check) {
  ++check.probes;
  check.expected += exact.matches.size();
  if (exact.matches.empty()) return;
  const float last = exact.matches.back().score;
  for (size_t i = 0; i < engine.size(); ++i) {
    const float score = scoreOf(gallery, probe, engine[i].row);
    if (i < exact.matches.size() && score >= last) ++check.found;
    if (!engine[i].score) continue;
    ++check.scores;
    if (!sameBits(score, *engine[i].score)) ++check.wrongScores;
  }
}

}  // namespace facefeature_tools
