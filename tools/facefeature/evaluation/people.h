// Whose face each id shows: what an evaluation is measured against.
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
// (kBadInput): every row has two fields that are valid by identifierFault(), and ids differ.
std::vector<PersonOfId> readPeople(const std::string& path);

struct LabelledPair {
  std::string first;
  std::string second;
  bool samePerson = false;
};

// Rows id_a,id_b,same of a CSV file; same is 1 or 0. A first row of these three words is a heading.
// Throws Failure (kBadInput): every row has three fields, ids are valid, and no pair is listed
// twice, in either order, or is an id with itself.
std::vector<LabelledPair> readPairs(const std::string& path);

// The person of each id in a list of pairs: ids that pairs of one person connect are one person,
// named by the first of its ids. Throws Failure (kBadInput) that names path if a pair of two people
// is connected as well.
std::vector<PersonOfId> peopleOfPairs(const std::vector<LabelledPair>& pairs,
                                      const std::string& path);

}  // namespace facefeature_tools

#endif
