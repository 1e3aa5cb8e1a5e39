#include "model/default_model.h"

#include <filesystem>
#include <system_error>

#include "base/program_folder.h"
#include "model/model_link.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

// A dangling link or a folder that can't be looked into was put there by somebody who wants it to
// be used. An error message helps them; another model would not.
bool mayExist(const fs::path& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

}  // namespace

std::string shippedModelFolder(const std::string& programFolder) {
  const fs::path program = programFolder;
  for (const char* folder : {"models/portraits", "../share/facefeature/models/portraits"}) {
    const fs::path model = (program / fs::path(folder).make_preferred()).lexically_normal();
    std::error_code ignored;
    if (fs::is_directory(model, ignored)) return model.string();
  }
  return "";
}

std::string chosenModelFolder(const std::string& named) {
  if (!named.empty()) return named;
  const std::string ofLibrary = libraryModelFolder();
  if (mayExist(ofLibrary)) return ofLibrary;
  const std::string program = programFolder();
  const std::string shipped = program.empty() ? "" : shippedModelFolder(program);
  return shipped.empty() ? ofLibrary : shipped;
}

}  // namespace facefeature_tools
