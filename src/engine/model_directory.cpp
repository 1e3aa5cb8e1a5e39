#include "engine/model_directory.h"

#include "platform/platform.h"

namespace facefeature {

// In one file, since their order of making is the order in which they stand.
const std::string tempBasePath = withoutLastComponent(temporaryFolder());
const std::string ModelDirectory = tempBasePath + kPathSeparator + "~kwplugintmp~" + kPathSeparator;

std::string withoutLastComponent(const std::string& folder) {
  return folder.substr(0, folder.rfind(kPathSeparator));
}

}  // namespace facefeature
