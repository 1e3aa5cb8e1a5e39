// Compares the answers of another search engine with the exact ones.
#ifndef FACEFEATURE_TOOLS_SEARCH_ANSWER_CHECK_H
#define FACEFEATURE_TOOLS_SEARCH_ANSWER_CHECK_H

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "gallery/gallery_file.h"
#include "search/gallery_search.h"

namespace facefeature_tools {

// A row that an engine has found, as the gallery's row number.
struct EngineMatch {
  size_t row;
  std::optional<float> score;
};

// The matches of each probe, by the probe's name, from a CSV file with a heading. The file has the
// columns probe and id, and may have score; other columns are ignored. Throws Failure (kBadInput)
// for another kind of file, for an id that the gallery does not have, and for an id that occurs
// twice for a probe.
std::unordered_map<std::string, std::vector<EngineMatch>> readEngineAnswers(const std::string& path,
                                                                            const Gallery& gallery);

struct AnswerCheck {
  size_t probes = 0;
  size_t expected = 0;     // matches that the exact answers have
  size_t found = 0;        // of these, in the engine's answers
  size_t scores = 0;       // scores that the engine gives
  size_t wrongScores = 0;  // of these, with other bits than CompareFeatures
};

// Adds one probe to a check. exact is its exact answer with at most `top` matches. An engine's
// match is found if its exact score is at least that of the last exact match, because an engine may
// choose others among equal scores. Only the first exact.matches.size() matches of the engine are
// used.
void checkAnswer(const Gallery& gallery, const FeatureVector& probe, const ProbeAnswer& exact,
                 const std::vector<EngineMatch>& engine, AnswerCheck& check);

}  // namespace facefeature_tools

#endif
