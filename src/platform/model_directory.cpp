#include "platform/model_directory.h"

#include "platform/platform.h"

namespace facefeature {

// In one file, so that they are initialised in order of definition.
const std::string tempBasePath = withoutLastComponent(temporaryFolder());
const std::string ModelDirectory = tempBasePath + kPathSeparator + "~kwplugintmp~" + kPathSeparator;

std::string withoutLastComponent(const std::string& folder) {
  const size_t separator = folder.rfind(kPathSeparator);
  if (separator == std::string::npos) abortOnFailedCheck();
  return folder.substr(0, separator);
}

}  // namespace facefeature
