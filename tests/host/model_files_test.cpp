// Which files the library opens, in which order, and what it does when one of them is missing. The
// library is loaded into fresh processes; only its results and its standard output are looked at.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
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

// The paths that a creation asks the system for, in order; a test fails if it asks for more than to
// read. A question about a file right ahead of its opening is one with it.
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

std::string layerFileName(const char* stage, int32_t net, const char* item) {
  return std::string(stage) + "-" + std::to_string(net) + "-" + item;
}

std::string loadLine(const LinkedModel& model, const std::string& name) {
  return "load " + model.path(name) + " failed\n";
}

struct LayerFileKind {
  const char* stage;
  const char* item;
};
constexpr LayerFileKind kWeights[] = {{"1", "1"}, {"2", "1"}, {"3", "1"},
                                      {"4", "1"}, {"5", "1"}, {"5", "2"}};
constexpr LayerFileKind kBiases[] = {{"1", "2"}, {"2", "2"}, {"3", "2"}, {"4", "2"}, {"5", "3"}};

// Of one and two digits, large and small input, the first and the last.
constexpr int32_t kSomeNets[] = {1, 10, 25};

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

TEST(ModelFolder, AMissingEngineFileGivesNullWithoutAWordAndEndsTheReading) {
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

TEST(ModelFolder, NoFolderAtAllGivesNullWithoutAWord) {
  EXPECT_EQ("a null\n", outputOf(runProbe(privateTempFolder() + "/not-there", kCreation)));
}

TEST(ModelFolder, CreationSucceedsOnceTheMissingFileIsThere) {
  const LinkedModel model;
  const std::string away = model.temporaryFolder() + "/6-2";
  const ChildResult result =
      runProbe(model, joined({{"move", model.path("6-2"), away, "load", "create", "a"},
                              {"destroy", "a", "move", away, model.path("6-2"), "create", "a"},
                              {"extract", "a", "face", "destroy", "a", "unload"}}));
  EXPECT_EQ("a null\na made\na " + goodFeature() + "\n", outputOf(result));
}

TEST(ModelFolder, AFolderInPlaceOfAnEngineFileIsAMissingFile) {
  const LinkedModel model;
  model.remove("0-7-0");
  std::filesystem::create_directory(model.path("0-7-0"));
  EXPECT_EQ("a null\n", outputOf(runProbe(model, kCreation)));
}

TEST(ModelFolder, AMissingLayerFilePrintsItsPathAndTheEngineIsBuilt) {
  for (const int32_t net : kSomeNets) {
    std::vector<LayerFileKind> kinds(std::begin(kWeights), std::end(kWeights));
    kinds.insert(kinds.end(), std::begin(kBiases), std::end(kBiases));
    for (const LayerFileKind& kind : kinds) {
      const std::string name = layerFileName(kind.stage, net, kind.item);
      SCOPED_TRACE(name);
      const LinkedModel model;
      model.remove(name);
      EXPECT_EQ(loadLine(model, name) + "a made\n", outputOf(runProbe(model, kCreation)));
    }
  }
}

TEST(ModelFolder, MissingLayerFilesAreToldOneByOneInTheOrderOfReading) {
  const LinkedModel model;
  std::string wanted;
  for (const std::string& name : layerFileNames()) {
    model.remove(name);
    wanted += loadLine(model, name);
  }
  EXPECT_EQ(wanted + "a made\n", outputOf(runProbe(model, kCreation)));
}

TEST(ModelFolder, AFolderInPlaceOfALayerFileIsAMissingFile) {
  const LinkedModel model;
  model.remove("2-3-2");
  std::filesystem::create_directory(model.path("2-3-2"));
  EXPECT_EQ(loadLine(model, "2-3-2") + "a made\n", outputOf(runProbe(model, kCreation)));
}

TEST(ModelFolder, ExtractionWithoutALayersWeightsEndsTheProcess) {
  for (const int32_t net : kSomeNets) {
    for (const LayerFileKind& kind : kWeights) {
      const std::string name = layerFileName(kind.stage, net, kind.item);
      SCOPED_TRACE(name);
      const LinkedModel model;
      model.remove(name);
      const ChildResult result = runProbe(model, oneExtraction());
      EXPECT_EQ(SIGABRT, result.signal);
      EXPECT_EQ(loadLine(model, name) + "a made\n", result.out);
      EXPECT_NE(std::string::npos, result.err.find("std::out_of_range")) << result.err;
    }
  }
}

TEST(ModelFolder, ExtractionWithoutALayersBiasesAddsNone) {
  const std::string complete = goodFeature();
  for (const int32_t net : kSomeNets) {
    for (const LayerFileKind& kind : kBiases) {
      const std::string name = layerFileName(kind.stage, net, kind.item);
      SCOPED_TRACE(name);
      const LinkedModel model;
      const std::string header = model.read(name).substr(0, 8);
      const size_t size = model.read(name).size();
      model.write(name, header + std::string(size - 8, '\0'));
      const std::string withZeros = featureWith(model);
      EXPECT_NE(complete, withZeros);
      model.remove(name);
      EXPECT_EQ(loadLine(model, name) + "a made\na " + withZeros + "\n",
                outputOf(runProbe(model, oneExtraction())));
    }
  }
}

TEST(ModelFolder, FilesMayGoWhileTheEngineLives) {
  const LinkedModel model;
  const ChildResult result =
      runProbe(model, {"load", "create", "a", "remove", model.folder(), "extract", "a", "face",
                       "extract", "a", "other-face", "destroy", "a", "create", "a", "unload"});
  EXPECT_EQ("a made\na " + goodFeature() + "\na " + goodFeature("other-face") + "\na null\n",
            outputOf(result));
}

TEST(TemporaryFolder, ASeparatorAtTheEndMakesNoDifference) {
  const LinkedModel model;
  model.remove("1-1-1");
  const std::string without = outputOf(runProbe(model.temporaryFolder(), kCreation));
  EXPECT_EQ(loadLine(model, "1-1-1") + "a made\n", without);
  EXPECT_EQ(without, outputOf(runProbe(model.temporaryFolder() + "/", kCreation)));
}

TEST(TemporaryFolder, OnlyTheLastOfSeveralSeparatorsIsCut) {
  const LinkedModel model;
  model.remove("1-1-1");
  EXPECT_EQ("load " + model.temporaryFolder() + "//~kwplugintmp~/1-1-1 failed\na made\n",
            outputOf(runProbe(model.temporaryFolder() + "//", kCreation)));
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

TEST(TemporaryFolder, LongPathsAreReadToo) {
  const LinkedModel model;
  model.remove("5-25-3");
  std::string deep = privateTempFolder() + "/deep";
  for (int32_t level = 0; level < 8; ++level) deep += "/" + std::string(100, 'd');
  std::filesystem::create_directories(deep);
  std::filesystem::rename(model.folder(), deep + "/~kwplugintmp~");
  EXPECT_EQ("load " + deep + "/~kwplugintmp~/5-25-3 failed\na made\n",
            outputOf(runProbe(deep, kCreation)));
  std::filesystem::remove_all(privateTempFolder() + "/deep");
}

TEST(TemporaryFolder, IsReadWhenTheLibraryIsLoadedAndNotAgain) {
  const LinkedModel model;
  const std::string elsewhere = privateTempFolder() + "/not-there";
  EXPECT_EQ("a made\na null\n",
            outputOf(runProbe(elsewhere, {"setenv", "TMPDIR", model.temporaryFolder(), "load",
                                          "setenv", "TMPDIR", elsewhere, "create", "a", "destroy",
                                          "a", "unload", "load", "create", "a", "unload"})));
}

}  // namespace
}  // namespace facefeature_test
