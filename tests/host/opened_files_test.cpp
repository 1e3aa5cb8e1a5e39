// Which files the library opens, and in which order. The probe records them with functions that
// replace those of the C library.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

const Steps kCreation = {"load", "create", "a", "destroy", "a", "unload"};

// The paths that a creation asks the system for, in order. A test fails if the library asks for
// more than read access. A query about a file directly before it is opened is merged with the
// opening.
std::vector<std::string> openedPaths(const Environment& changes, std::string& out) {
  const std::string record = privateTempFolder() + "/opened";
  Environment environment = changes;
  environment["OPEN_RECORD"] = record;
  out = outputOf(runChild(FACEFEATURE_HOST_PROBE_RECORDING,
                          joined({{FACEFEATURE_LIBRARY}, kCreation}), environment));
  std::vector<std::string> paths;
  std::ifstream file(record);
  for (std::string line; std::getline(file, line);) {
    EXPECT_EQ("read ", line.substr(0, 5));
    if (paths.empty() || paths.back() != line.substr(5)) paths.push_back(line.substr(5));
  }
  file.close();
  std::filesystem::remove(record);
  return paths;
}

std::vector<std::string> openedPaths(const LinkedModel& model, std::string& out) {
  return openedPaths({{"TMPDIR", model.temporaryFolder()}}, out);
}

std::vector<std::string> withPrefix(const std::string& prefix, std::vector<std::string> names) {
  for (std::string& name : names) name.insert(0, prefix);
  return names;
}

TEST(ModelFolder, FilesAreOpenedOnceEachInOrderAndOnlyForReading) {
  const LinkedModel model;
  std::string out;
  const std::vector<std::string> paths = openedPaths(model, out);
  EXPECT_EQ("a made\n", out);

  std::vector<std::string> wanted = withPrefix(model.folder() + "//", engineFileNames());
  const std::vector<std::string> layers = withPrefix(model.folder() + "/", layerFileNames());
  wanted.insert(wanted.end(), layers.begin(), layers.end());
  ASSERT_EQ(303u, wanted.size());
  EXPECT_EQ(wanted, paths);
}

TEST(ModelFolder, AMissingEngineFileGivesNullSilentlyAndStopsTheReading) {
  const std::vector<std::string> names = engineFileNames();
  ASSERT_EQ(28u, names.size());
  for (size_t missing = 0; missing < names.size(); ++missing) {
    SCOPED_TRACE(names[missing]);
    const LinkedModel model;
    model.remove(names[missing]);
    std::string out;
    const std::vector<std::string> paths = openedPaths(model, out);
    EXPECT_EQ("a null\n", out);
    const std::vector<std::string> upToTheMissing(names.begin(),
                                                  names.begin() + static_cast<long>(missing) + 1);
    EXPECT_EQ(withPrefix(model.folder() + "//", upToTheMissing), paths);
  }
}

TEST(TemporaryFolder, TheRootFolderIsAnEmptyBase) {
  std::string out;
  const std::vector<std::string> paths = openedPaths({{"TMPDIR", "/"}}, out);
  ASSERT_FALSE(paths.empty());
  EXPECT_EQ("/~kwplugintmp~//0-1-0", paths[0]);
}

// Nothing is written there: what the library asks for is enough to know.
TEST(TemporaryFolder, UnsetOrEmptyMeansTmp) {
  std::string out;
  for (const Environment& changes :
       {Environment{{"TMPDIR", std::nullopt}}, Environment{{"TMPDIR", ""}}}) {
    const std::vector<std::string> paths = openedPaths(changes, out);
    ASSERT_FALSE(paths.empty());
    EXPECT_EQ("/tmp/~kwplugintmp~//0-1-0", paths[0]);
  }
}

}  // namespace
}  // namespace facefeature_test
