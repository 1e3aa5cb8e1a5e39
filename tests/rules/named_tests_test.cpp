// The documents name tests that demonstrate their statements. Those tests have to exist.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "rules/repository.h"

namespace facefeature_test {
namespace {

// Every test that a file in tests/ or fuzz/ declares, as Suite.Name, and every suite as "Suite.*".
// CMake's own tests are named in the build files.
std::set<std::string> declaredTests() {
  const std::regex declaration(R"(\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\))");
  const std::regex named(R"(NAME (\w+)\.(\w+))");
  std::set<std::string> tests;
  for (const char* folder : {"tests", "fuzz"}) {
    for (const std::string& path : textFilesBelow(folder)) {
      const std::string text = fileText(path);
      for (const std::regex& kind : {declaration, named}) {
        for (std::sregex_iterator match(text.begin(), text.end(), kind), end; match != end;
             ++match) {
          tests.insert((*match)[1].str() + "." + (*match)[2].str());
          tests.insert((*match)[1].str() + ".*");
        }
      }
    }
  }
  return tests;
}

TEST(Documents, NameOnlyTestsThatExist) {
  const std::set<std::string> tests = declaredTests();
  const std::regex name(R"(`([A-Z][a-z]\w*\.(?:[A-Z]\w+|\*))`)");
  int named = 0;
  for (const std::string& path : textFilesBelow("docs")) {
    const std::string text = fileText(path);
    for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match) {
      if ((*match)[1] == "Suite.Name") continue;  // how tests are named
      ++named;
      EXPECT_EQ(1u, tests.count((*match)[1].str())) << path << " names " << (*match)[1].str();
    }
  }
  EXPECT_GT(named, 200) << "the documents are not read as they are written";
}

}  // namespace
}  // namespace facefeature_test
