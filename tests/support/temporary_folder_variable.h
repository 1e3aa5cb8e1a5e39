// Sets the variable that names the temporary folder.
#ifndef FACEFEATURE_TESTS_SUPPORT_TEMPORARY_FOLDER_VARIABLE_H
#define FACEFEATURE_TESTS_SUPPORT_TEMPORARY_FOLDER_VARIABLE_H

#include <string>

#include "support/environment.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {

// Sets the variable, or unsets it for a null value, for the lifetime of this object. Then restores
// the test program's private folder.
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
