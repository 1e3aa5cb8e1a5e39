// The list of verbs. Each verb has its own tests for what it does.
#include "verbs/verb_list.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace facefeature_test {
namespace {

using facefeature_tools::allVerbs;
using facefeature_tools::Verb;
using facefeature_tools::verbGroups;

TEST(VerbList, NamesAreUnique) {
  std::set<std::string> names;
  for (const Verb* verb : allVerbs()) EXPECT_TRUE(names.insert(verb->name).second) << verb->name;
}

TEST(VerbList, HasHelpForTheGroupsOfItsVerbsAlone) {
  std::set<std::string> used;
  for (const Verb* verb : allVerbs()) {
    const std::string name = verb->name;
    const size_t space = name.find(' ');
    if (space != std::string::npos) used.insert(name.substr(0, space));
  }
  std::set<std::string> described;
  for (const auto& [group, help] : verbGroups()) {
    described.insert(group);
    EXPECT_NE("", help) << group;
  }
  EXPECT_EQ(used, described);
}

// The build compiles every verb_*.cpp. A verb that is not in the list would never run.
TEST(VerbList, NamesTheVerbOfEachFile) {
  size_t files = 0;
  const std::string folder = std::string(FACEFEATURE_SOURCE_DIR) + "/tools/facefeature/verbs";
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.compare(0, 5, "verb_") == 0 && entry.path().extension() == ".cpp") ++files;
  }
  EXPECT_EQ(files - 1, allVerbs().size());  // verb_list.cpp is not a verb
}

}  // namespace
}  // namespace facefeature_test
