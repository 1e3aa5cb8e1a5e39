// Which room of tools/facefeature may include which. Each row names the rooms that a room's files
// may include besides their own, and the folders of src/. A row names only rooms above it, so that
// there are no cycles. Keep the ROOMS of each CMakeLists.txt equal to its row.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "rules/include_table.h"
#include "rules/repository.h"

namespace facefeature_test {
namespace {

struct Room {
  std::string name;
  std::set<std::string> rooms;
  std::set<std::string> folders;  // of src/
};

const std::vector<Room>& rooms() {
  static const std::vector<Room> all = {
      {"base", {}, {}},
      {"model", {"base"}, {}},
      {"photo", {"base"}, {}},
      {"face", {"base", "photo"}, {"geometry"}},
      {"gallery", {"base", "model"}, {}},
      {"search", {"base", "model", "gallery"}, {"platform"}},
      {"batch", {"base", "model", "gallery"}, {}},
      {"service", {"base", "batch"}, {}},
      {"draw", {"base", "photo", "face"}, {"geometry"}},
      {"page", {"base", "photo", "batch"}, {}},
      {"evaluation", {"base", "model", "gallery", "search", "page"}, {}},
      {"cluster", {"base", "gallery", "search", "page", "evaluation"}, {}},
      {"verbs",
       {"base", "model", "photo", "face", "gallery", "search", "batch", "service", "draw", "page",
        "evaluation", "cluster"},
       {}},
  };
  return all;
}

const std::string kProgram = "tools/facefeature/";

const Room* roomOf(const std::string& path) {
  for (const Room& room : rooms()) {
    if (path.compare(0, room.name.size() + 1, room.name + "/") == 0) return &room;
  }
  return nullptr;
}

// The folders of the included files.
std::vector<std::string> includedFolders(const std::string& text) {
  static const std::regex include("^#include \"([^\"/]*)/.*");
  std::vector<std::string> found;
  std::smatch match;
  for (const std::string& line : linesOfText(text)) {
    if (std::regex_match(line, match, include)) found.push_back(match[1]);
  }
  return found;
}

bool isCode(const std::string& path) {
  return std::regex_match(path, std::regex(R"(.*\.(h|cpp|inc|c))"));
}

std::vector<std::string> programFiles() {
  std::vector<std::string> paths;
  for (const std::string& path : textFilesBelow(kProgram)) {
    if (isCode(path)) paths.push_back(path.substr(kProgram.size()));
  }
  return paths;
}

TEST(Rooms, IncludeOnlyTheRoomsOfTheirRow) {
  size_t checked = 0;
  for (const std::string& path : programFiles()) {
    const Room* room = roomOf(path);
    if (room == nullptr) continue;
    for (const std::string& included : includedFolders(fileText(kProgram + path))) {
      ++checked;
      EXPECT_TRUE(included == room->name || room->rooms.count(included) == 1 ||
                  room->folders.count(included) == 1)
          << path << " includes a file of " << included;
    }
  }
  EXPECT_GT(checked, 100u);
}

TEST(Rooms, EachRowNamesOnlyRoomsAboveIt) {
  std::set<std::string> above;
  for (const Room& room : rooms()) {
    for (const std::string& included : room.rooms) {
      EXPECT_EQ(1u, above.count(included)) << room.name << " may include " << included;
    }
    above.insert(room.name);
  }
}

TEST(Rooms, HaveTheRowsOfTheDocument) {
  std::map<std::string, std::set<std::string>> rows;
  for (const Room& room : rooms()) {
    rows[room.name] = room.rooms;
    rows[room.name].insert(room.folders.begin(), room.folders.end());
  }
  EXPECT_EQ(rows, documentedIncludes("The rooms of the program"));
}

// main.cpp and files that only the executable needs. Everything else belongs to a room, and every
// folder is a room.
TEST(Rooms, HoldEveryFileButTheProgramsOwn) {
  for (const std::string& path : programFiles()) {
    const bool isTheProgramsOwn = path == "main.cpp" || path == "known_leaks.cpp";
    EXPECT_TRUE(isTheProgramsOwn || roomOf(path) != nullptr) << path;
  }
}

// Tests are in the folder of the room that they test. Files that tests of several rooms share are
// outside these folders.
TEST(Rooms, HaveTheirTestsInFoldersOfTheSameNames) {
  const std::string tests = "tests/tools/";
  for (const std::string& path : textFilesBelow(tests)) {
    if (path.find("_test.cpp") == std::string::npos) continue;
    EXPECT_NE(nullptr, roomOf(path.substr(tests.size()))) << path;
  }
}

}  // namespace
}  // namespace facefeature_test
