// The variable that names the temporary folder, as a test wants it.
#ifndef FACEFEATURE_TESTS_SUPPORT_TEMPORARY_FOLDER_VARIABLE_H
#define FACEFEATURE_TESTS_SUPPORT_TEMPORARY_FOLDER_VARIABLE_H

#include <string>

#include "support/environment.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {

// Set for as long as this stands, or not set where the value is null; then the test program's
// private folder again.
class TemporaryFolderVariable {
 public:
  explicit TemporaryFolderVariable(const char* value) {
    if (value == nullptr) {
      unsetVariable(kTemporaryFolderVariable);
    } else {
      setVariable(kTemporaryFolderVariable, value);
    }
  }
  explicit TemporaryFolderVariable(const std::string& value)
      : TemporaryFolderVariable(value.c_str()) {}
  ~TemporaryFolderVariable() { setVariable(kTemporaryFolderVariable, privateTempFolder()); }
  TemporaryFolderVariable(const TemporaryFolderVariable&) = delete;
  TemporaryFolderVariable& operator=(const TemporaryFolderVariable&) = delete;
};

}  // namespace facefeature_test

#endif
