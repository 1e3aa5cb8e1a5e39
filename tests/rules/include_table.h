// Tables of docs/architecture.md that say which folder may include which.
#ifndef FACEFEATURE_TESTS_RULES_INCLUDE_TABLE_H
#define FACEFEATURE_TESTS_RULES_INCLUDE_TABLE_H

#include <map>
#include <regex>
#include <set>
#include <string>

#include "rules/repository.h"

namespace facefeature_test {

// The table below a heading: folder -> the folders in its second cell.
inline std::map<std::string, std::set<std::string>> documentedIncludes(const std::string& heading) {
  const std::regex row(R"(^\| `(\w+)/` \| ([^|]*) \|.*)"), folder(R"(`(\w+)/`)");
  std::map<std::string, std::set<std::string>> documented;
  std::smatch match;
  bool isBelow = false;
  for (const std::string& line : linesOfText(fileText("docs/architecture.md"))) {
    if (line.compare(0, 3, "## ") == 0) isBelow = line == "## " + heading;
    if (!isBelow || !std::regex_match(line, match, row)) continue;
    const std::string name = match[1], cell = match[2];
    std::set<std::string>& folders = documented[name];
    for (std::sregex_iterator each(cell.begin(), cell.end(), folder), end; each != end; ++each) {
      folders.insert((*each)[1]);
    }
  }
  return documented;
}

}  // namespace facefeature_test

#endif
