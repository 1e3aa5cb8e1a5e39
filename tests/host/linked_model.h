// A model folder for one test, available at once: its files are links to one master folder. Files
// that a test removes or rewrites do not change the master.
#ifndef FACEFEATURE_TESTS_HOST_LINKED_MODEL_H
#define FACEFEATURE_TESTS_HOST_LINKED_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/environment.h"

namespace facefeature_test {

class LinkedModel {
 public:
  LinkedModel();  // all 303 files
  ~LinkedModel();
  LinkedModel(const LinkedModel&) = delete;
  LinkedModel& operator=(const LinkedModel&) = delete;

  // The temporary folder to give to a host, without a trailing separator.
  const std::string& temporaryFolder() const { return temporaryFolder_; }
  std::string folder() const { return temporaryFolder_ + kSeparator + "~kwplugintmp~"; }
  std::string path(const std::string& name) const { return folder() + kSeparator + name; }

  void remove(const std::string& name) const;
  std::string read(const std::string& name) const;
  void write(const std::string& name, const std::string& bytes) const;

 private:
  std::string temporaryFolder_;
};

// The line that the library prints if it can't open this file of a layer.
inline std::string loadLine(const LinkedModel& model, const std::string& name) {
  return "load " + model.path(name) + " failed\n";
}

// The names of the files in the order in which a creation opens them: the engine's own 28, then
// those of the layers, net by net.
std::vector<std::string> engineFileNames();
std::vector<std::string> layerFileNames();

}  // namespace facefeature_test

#endif
