// Which person each id shows: the ground truth of an evaluation.
#ifndef FACEFEATURE_TOOLS_EVALUATION_PEOPLE_H
#define FACEFEATURE_TOOLS_EVALUATION_PEOPLE_H

#include <string>
#include <vector>

namespace facefeature_tools {

struct PersonOfId {
  std::string id;
  std::string person;
};

// Rows id,person of a CSV file. A first row of these two words is a heading. Throws Failure
// (kBadInput) unless every row has two fields that are valid by identifierFault(), and all ids
// differ.
std::vector<PersonOfId> readPeople(const std::string& path);

struct LabelledPair {
  std::string first;
  std::string second;
  bool samePerson = false;
};

// Rows id_a,id_b,same of a CSV file; same is 1 or 0. A first row of these three words is a heading.
// Throws Failure (kBadInput) unless every row has three fields, all ids are valid, no pair occurs
// twice, in either order, and no id is paired with itself.
std::vector<LabelledPair> readPairs(const std::string& path);

// The person of each id in a list of pairs: ids that pairs of one person connect are one person,
// named by the first of its ids. Throws Failure (kBadInput) that names path if a pair of two people
// is also connected.
std::vector<PersonOfId> peopleOfPairs(const std::vector<LabelledPair>& pairs,
                                      const std::string& path);

}  // namespace facefeature_tools

#endif
