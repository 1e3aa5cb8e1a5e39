// Which files the library opens, in which order, and what it does if one is missing. The library is
// loaded into fresh processes, and only its results and its standard output are examined.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

const Steps kCreation = {"load", "create", "a", "destroy", "a", "unload"};

std::string layerFileName(const char* stage, int32_t net, const char* item) {
  return std::string(stage) + "-" + std::to_string(net) + "-" + item;
}

struct LayerFileKind {
  const char* stage;
  const char* item;
};
constexpr LayerFileKind kWeights[] = {{"1", "1"}, {"2", "1"}, {"3", "1"},
                                      {"4", "1"}, {"5", "1"}, {"5", "2"}};
constexpr LayerFileKind kBiases[] = {{"1", "2"}, {"2", "2"}, {"3", "2"}, {"4", "2"}, {"5", "3"}};

// Numbers of one and two digits, nets with large and small input, the first net and the last.
constexpr int32_t kSomeNets[] = {1, 10, 25};

TEST(ModelFolder, NoFolderAtAllGivesNullSilently) {
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

TEST(ModelFolder, AFolderInsteadOfAnEngineFileIsAMissingFile) {
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

TEST(ModelFolder, MissingLayerFilesAreReportedOneByOneInTheOrderOfReading) {
  const LinkedModel model;
  std::string wanted;
  for (const std::string& name : layerFileNames()) {
    model.remove(name);
    wanted += loadLine(model, name);
  }
  EXPECT_EQ(wanted + "a made\n", outputOf(runProbe(model, kCreation)));
}

TEST(ModelFolder, AFolderInsteadOfALayerFileIsAMissingFile) {
  const LinkedModel model;
  model.remove("2-3-2");
  std::filesystem::create_directory(model.path("2-3-2"));
  EXPECT_EQ(loadLine(model, "2-3-2") + "a made\n", outputOf(runProbe(model, kCreation)));
}

TEST(ModelFolder, ExtractionWithoutALayersWeightsTerminatesTheProcess) {
  for (const int32_t net : kSomeNets) {
    for (const LayerFileKind& kind : kWeights) {
      const std::string name = layerFileName(kind.stage, net, kind.item);
      SCOPED_TRACE(name);
      const LinkedModel model;
      model.remove(name);
      const ChildResult result = runProbe(model, oneExtraction());
      EXPECT_TRUE(result.wasAborted());
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

TEST(ModelFolder, FilesMayBeDeletedWhileTheEngineLives) {
  const LinkedModel model;
  const ChildResult result =
      runProbe(model, {"load", "create", "a", "remove", model.folder(), "extract", "a", "face",
                       "extract", "a", "other-face", "destroy", "a", "create", "a", "unload"});
  EXPECT_EQ("a made\na " + goodFeature() + "\na " + goodFeature("other-face") + "\na null\n",
            outputOf(result));
}

}  // namespace
}  // namespace facefeature_test
