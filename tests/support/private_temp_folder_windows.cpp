#include <stdlib.h>
#include <windows.h>

#include <cstdio>
#include <filesystem>

#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

// Plain characters: these run before the initialisers of any string object.
char folder[MAX_PATH];
bool isCreator = false;

__attribute__((constructor(101))) void makePrivateTempFolder() {
  const char* inherited = getenv("FACEFEATURE_TEST_FOLDER");
  if (inherited != nullptr) {
    snprintf(folder, sizeof folder, "%s", inherited);
  } else {
    char base[MAX_PATH];
    const DWORD length = GetTempPathA(sizeof base, base);
    if (length == 0 || length > 120) abort();
    // A program that was killed leaves its folder behind, and process ids are reused.
    for (int tries = 0; !isCreator; ++tries) {
      if (tries == 1000) abort();
      snprintf(folder, sizeof folder, "%sfacefeature-test-%lu-%d", base, GetCurrentProcessId(),
               tries);
      isCreator = CreateDirectoryA(folder, nullptr) != 0;
    }
    char variable[MAX_PATH + 32];
    snprintf(variable, sizeof variable, "FACEFEATURE_TEST_FOLDER=%s", folder);
    _putenv(variable);
  }
  char variable[MAX_PATH + 8];
  snprintf(variable, sizeof variable, "TMP=%s", folder);
  _putenv(variable);
}

__attribute__((destructor)) void removePrivateTempFolder() {
  if (!isCreator) return;
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace

std::string privateTempFolder() { return folder; }

}  // namespace facefeature_test
