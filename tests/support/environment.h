// The environment of this process, as the library and its runtime see it.
#ifndef FACEFEATURE_TESTS_SUPPORT_ENVIRONMENT_H
#define FACEFEATURE_TESTS_SUPPORT_ENVIRONMENT_H

#include <stdlib.h>

#include <string>

namespace facefeature_test {

#if defined(_WIN32)

// The variable that names the temporary folder.
constexpr const char* kTemporaryFolderVariable = "TMP";

// The separator in the paths that the library builds.
constexpr const char* kSeparator = "\\";

// Updates both the C runtime's copy and the system's.
inline void setVariable(const std::string& name, const std::string& value) {
  _putenv((name + "=" + value).c_str());
}

inline void unsetVariable(const std::string& name) { setVariable(name, ""); }

#else

constexpr const char* kTemporaryFolderVariable = "TMPDIR";
constexpr const char* kSeparator = "/";

inline void setVariable(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

inline void unsetVariable(const std::string& name) { unsetenv(name.c_str()); }

#endif

}  // namespace facefeature_test

#endif
