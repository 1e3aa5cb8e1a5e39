#include "evaluation/people.h"

#include <cstdint>
#include <functional>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/csv.h"
#include "base/failure.h"
#include "base/identifier.h"
#include "base/whole_file.h"
#include "evaluation/disjoint_sets.h"

namespace facefeature_tools {
namespace {

constexpr size_t kLimit = size_t{1} << 32;
constexpr char kPeopleRemedy[] = "Write rows id,person";
constexpr char kPairsRemedy[] = "Write rows id_a,id_b,same, where same is 1 or 0";

// Calls take for each row except a heading. take returns the error of a row, or nothing.
void readRows(const std::string& path, const std::vector<std::string>& heading,
              const std::string& remedy,
              const std::function<std::string(const std::vector<std::string>&)>& take) {
  const std::vector<uint8_t> bytes = readWholeFile(path, kLimit, remedy);
  std::vector<CsvRow> rows;
  try {
    rows = parseCsv(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  } catch (const std::runtime_error& error) {
    throw Failure(kBadInput, path, error.what(), remedy);
  }
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::vector<std::string>& fields = rows[i].fields;
    if (i == 0 && fields == heading) continue;
    const std::string fault = fields.size() == heading.size()
                                  ? take(fields)
                                  : "has " + std::to_string(fields.size()) + " fields, not " +
                                        std::to_string(heading.size());
    if (fault.empty()) continue;
    throw Failure(kBadInput, path, "line " + std::to_string(rows[i].line) + " " + fault, remedy);
  }
}

// Nothing for valid names, or the error of the first invalid one.
std::string namesFault(const std::string& first, const std::string& second,
                       const std::string& second_is) {
  std::string fault = identifierFault(first);
  if (!fault.empty()) return "has an id that " + fault;
  fault = identifierFault(second);
  return fault.empty() ? "" : "has " + second_is + " that " + fault;
}

}  // namespace

std::vector<PersonOfId> readPeople(const std::string& path) {
  std::vector<PersonOfId> people;
  std::unordered_set<std::string> ids;
  readRows(path, {"id", "person"}, kPeopleRemedy, [&](const std::vector<std::string>& fields) {
    const std::string fault = namesFault(fields[0], fields[1], "a person");
    if (!fault.empty()) return fault;
    if (!ids.insert(fields[0]).second) return "repeats the id " + fields[0];
    people.push_back({fields[0], fields[1]});
    return std::string();
  });
  return people;
}

std::vector<LabelledPair> readPairs(const std::string& path) {
  std::vector<LabelledPair> pairs;
  std::set<std::pair<std::string, std::string>> seen;
  readRows(path, {"id_a", "id_b", "same"}, kPairsRemedy,
           [&](const std::vector<std::string>& fields) -> std::string {
             const std::string fault = namesFault(fields[0], fields[1], "an id");
             if (!fault.empty()) return fault;
             if (fields[0] == fields[1]) return "pairs " + fields[0] + " with itself";
             if (fields[2] != "0" && fields[2] != "1")
               return "has neither 0 nor 1 as its third field";
             if (!seen.insert(std::minmax(fields[0], fields[1])).second) {
               return "repeats the pair " + fields[0] + ", " + fields[1];
             }
             pairs.push_back({fields[0], fields[1], fields[2] == "1"});
             return "";
           });
  return pairs;
}

std::vector<PersonOfId> peopleOfPairs(const std::vector<LabelledPair>& pairs,
                                      const std::string& path) {
  std::vector<PersonOfId> people;
  std::unordered_map<std::string, uint32_t> numbers;
  const auto numberOf = [&](const std::string& id) {
    const auto [entry, isNew] = numbers.try_emplace(id, static_cast<uint32_t>(people.size()));
    if (isNew) people.push_back({id, ""});
    return entry->second;
  };
  for (const LabelledPair& pair : pairs) {
    numberOf(pair.first);
    numberOf(pair.second);
  }
  DisjointSets sets(people.size());
  for (const LabelledPair& pair : pairs) {
    if (pair.samePerson) sets.merge(numberOf(pair.first), numberOf(pair.second));
  }
  for (const LabelledPair& pair : pairs) {
    if (pair.samePerson || sets.find(numberOf(pair.first)) != sets.find(numberOf(pair.second))) {
      continue;
    }
    throw Failure(kBadInput, path,
                  "says that " + pair.first + " and " + pair.second +
                      " are two people, but other pairs connect them as one",
                  "Correct the pairs of these ids");
  }
  for (uint32_t i = 0; i < people.size(); ++i) people[i].person = people[sets.find(i)].id;
  return people;
}

}  // namespace facefeature_tools
