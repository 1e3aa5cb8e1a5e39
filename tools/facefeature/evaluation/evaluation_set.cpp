#include "evaluation/evaluation_set.h"

#include <algorithm>
#include <unordered_map>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

struct KnownRow {
  size_t row;
  uint32_t person;
};

}  // namespace

EvaluationSet makeEvaluationSet(const Gallery& gallery, const std::vector<PersonOfId>& people) {
  std::unordered_map<std::string, const std::string*> personOfId;
  for (const PersonOfId& entry : people) personOfId.emplace(entry.id, &entry.person);

  EvaluationSet set;
  std::unordered_map<std::string, uint32_t> numberOfPerson;
  std::vector<KnownRow> rows;
  for (size_t row = 0; row < gallery.count(); ++row) {
    const auto known = personOfId.find(std::string(gallery.id(row)));
    if (known == personOfId.end()) {
      ++set.idsWithoutPerson;
      continue;
    }
    const auto [number, isNew] =
        numberOfPerson.try_emplace(*known->second, static_cast<uint32_t>(set.people.size()));
    if (isNew) set.people.push_back(*known->second);
    rows.push_back({row, number->second});
  }
  set.idsWithoutFeature = people.size() - rows.size();
  if (rows.size() < 2) {
    throw Failure(kBadInput, gallery.path(),
                  "has " + std::to_string(rows.size()) + " features of the listed ids",
                  "List the ids that \"facefeature gallery info --ids\" prints");
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const KnownRow& a, const KnownRow& b) { return a.person < b.person; });

  set.features.reserve(rows.size() * kFeatureFloats);
  for (const KnownRow& known : rows) {
    set.ids.emplace_back(gallery.id(known.row));
    set.personOf.push_back(known.person);
    const FeatureVector feature = gallery.feature(known.row);
    set.features.insert(set.features.end(), std::begin(feature.values), std::end(feature.values));
  }
  return set;
}

}  // namespace facefeature_tools
