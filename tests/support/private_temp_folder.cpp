#include "support/private_temp_folder.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace facefeature_test {
namespace {

// Plain characters: these run before the initialisers of any string object.
char folder[4096];
pid_t creator = 0;

__attribute__((constructor(101))) void makePrivateTempFolder() {
  // Whatever the user's umask is: nobody else may write to what tests create.
  umask(022);
  const char* inherited = getenv("FACEFEATURE_TEST_FOLDER");
  if (inherited != nullptr) {
    snprintf(folder, sizeof folder, "%s", inherited);
  } else {
    const char* base = getenv("TMPDIR");
    snprintf(folder, sizeof folder, "%s/facefeature-test-XXXXXX",
             base != nullptr && *base != '\0' ? base : "/tmp");
    if (mkdtemp(folder) == nullptr) abort();
    creator = getpid();
    setenv("FACEFEATURE_TEST_FOLDER", folder, 1);
  }
  setenv("TMPDIR", folder, 1);
}

__attribute__((destructor)) void removePrivateTempFolder() {
  if (creator != getpid()) return;
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace

std::string privateTempFolder() { return folder; }

}  // namespace facefeature_test
