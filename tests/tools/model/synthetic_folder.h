// A synthetic model, written once per process that asks for it.
#ifndef FACEFEATURE_TESTS_TOOLS_MODEL_SYNTHETIC_FOLDER_H
#define FACEFEATURE_TESTS_TOOLS_MODEL_SYNTHETIC_FOLDER_H

#include <filesystem>
#include <string>

#include "model/synthetic_model.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {

// A good model of seed 1. A test that changes a file restores it.
inline const std::string& syntheticFolder() {
  static const std::string folder = [] {
    const std::string path = privateTempFolder() + "/synthetic";
    facefeature_tools::writeSyntheticModel(path, 1);
    return path;
  }();
  return folder;
}

// A folder of links to the files of syntheticFolder(), which can be replaced one by one.
inline std::string linkedFolder(const std::string& name) {
  const std::string path = privateTempFolder() + "/" + name;
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  for (const auto& file : std::filesystem::directory_iterator(syntheticFolder())) {
    std::filesystem::create_hard_link(file.path(), path / file.path().filename());
  }
  return path;
}

}  // namespace facefeature_test

#endif
