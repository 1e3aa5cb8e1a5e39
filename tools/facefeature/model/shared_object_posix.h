// Loads the shared objects that the program comes with. For POSIX systems.
#ifndef FACEFEATURE_TOOLS_MODEL_SHARED_OBJECT_POSIX_H
#define FACEFEATURE_TOOLS_MODEL_SHARED_OBJECT_POSIX_H

#include <string>

namespace facefeature_tools {

class SharedObject {
 public:
  // name: without its ending, such as "libfacefeature". Searches the program's own folder, then
  // ../lib beside it, then the system loader's paths. Stays loaded until the process ends. Throws
  // Failure (kFailed).
  explicit SharedObject(const std::string& name);

  // Sets function to the address of the function with this name. Throws Failure (kFailed).
  template <typename Function>
  void bind(const char* functionName, Function& function) const {
    function = reinterpret_cast<Function>(addressOf(functionName));
  }

 private:
  void* addressOf(const char* functionName) const;

  std::string path_;
  void* module_;
};

}  // namespace facefeature_tools

#endif
