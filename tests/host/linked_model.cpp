#include "host/linked_model.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/private_temp_folder.h"
#include "support/synthetic_folder.h"

namespace facefeature_test {
namespace {

constexpr uint32_t kSeed = 4;

// Written once for each test program.
const std::string& masterFolder() {
  static const std::string folder = [] {
    const std::string made = privateTempFolder() + "/master";
    std::filesystem::create_directory(made);
    writeSyntheticModel(made, kSeed);
    return made;
  }();
  return folder;
}

std::vector<std::string> namesWhere(bool ofEngine) {
  std::vector<std::string> names;
  for (const ModelFile& file : modelFiles()) {
    if ((file.format != ModelFileFormat::kMatrix) == ofEngine) names.push_back(file.name);
  }
  return names;
}

}  // namespace

LinkedModel::LinkedModel() {
  static int32_t number = 0;
  temporaryFolder_ = privateTempFolder() + kSeparator + "model-" + std::to_string(number++);
  std::filesystem::create_directories(folder());
  for (const ModelFile& file : modelFiles()) {
    std::filesystem::create_hard_link(masterFolder() + "/" + file.name, path(file.name));
  }
}

LinkedModel::~LinkedModel() {
  std::error_code ignored;
  std::filesystem::remove_all(temporaryFolder_, ignored);
}

void LinkedModel::remove(const std::string& name) const {
  if (!std::filesystem::remove(path(name))) throw std::runtime_error("no model file " + name);
}

std::string LinkedModel::read(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  if (!file) throw std::runtime_error("no model file " + name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void LinkedModel::write(const std::string& name, const std::string& bytes) const {
  // Replaces the file instead of writing into it: the master folder links to the same file.
  std::filesystem::remove(path(name));
  std::ofstream file(path(name), std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("can't write the model file " + name);
}

std::vector<std::string> engineFileNames() { return namesWhere(true); }
std::vector<std::string> layerFileNames() { return namesWhere(false); }

}  // namespace facefeature_test
