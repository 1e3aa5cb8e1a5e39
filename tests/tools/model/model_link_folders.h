// Folders for tests of ModelLink on any system.
#ifndef FACEFEATURE_TESTS_TOOLS_MODEL_MODEL_LINK_FOLDERS_H
#define FACEFEATURE_TESTS_TOOLS_MODEL_MODEL_LINK_FOLDERS_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/environment.h"
#include "support/private_temp_folder.h"
#include "tools/run_program.h"

namespace facefeature_test {

// An empty temporary folder, and a folder that acts as a model. Restores the variable that names
// the temporary folder.
class ModelLinkFolders : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(base);
    std::filesystem::create_directories(temporary);
    std::filesystem::create_directories(model);
    writeText(modelFile, "x");
    setVariable(kTemporaryFolderVariable, temporary);
  }
  void TearDown() override {
    setVariable(kTemporaryFolderVariable, privateTempFolder());
    std::filesystem::remove_all(base);
  }

  bool nothingIsLeft() const {
    return std::filesystem::is_empty(temporary) && std::filesystem::exists(modelFile);
  }

  const std::string base = privateTempFolder() + kSeparator + "links";
  const std::string temporary = base + kSeparator + "temporary";
  const std::string model = base + kSeparator + "my model";
  const std::string modelFile = model + kSeparator + "6-0";
};

}  // namespace facefeature_test

#endif
