// How good another engine's answers are, held against the exact ones.
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

// A row that an engine has found, by the gallery's number for it.
struct EngineMatch {
  size_t row;
  std::optional<float> score;
};

// The matches of each probe, by the probe's name, from a CSV file with a heading that has the
// columns probe and id, and may have score; other columns are ignored. Throws Failure (kBadInput)
// for a file of another kind, for an id that the gallery does not have, and for an id that a probe
// has twice.
std::unordered_map<std::string, std::vector<EngineMatch>> readEngineAnswers(const std::string& path,
                                                                            const Gallery& gallery);

struct AnswerCheck {
  size_t probes = 0;
  size_t expected = 0;     // matches that the exact answers have
  size_t found = 0;        // of these, in the engine's answers
  size_t scores = 0;       // scores that the engine gives
  size_t wrongScores = 0;  // of these, other bits than CompareFeatures
};

// Adds one probe to a check. exact is its exact answer of at most `top` matches. An engine's match
// counts as found if its exact score is at least that of the last exact match: among equal scores
// an engine may choose others. Only the first exact.matches.size() of the engine's matches count.
void checkAnswer(const Gallery& gallery, const FeatureVector& probe, const ProbeAnswer& exact,
                 const std::vector<EngineMatch>& engine, AnswerCheck& check);

}  // namespace facefeature_tools

#endif
