#include "model/model_link.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>

#include "base/failure.h"
#include "model/model_files.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The data that a signal handler may use: plain characters that are complete before the flag is
// set.
char folderPath[PATH_MAX];
char linkPath[PATH_MAX];
volatile sig_atomic_t linkExists = 0;

// Only calls that are allowed in a signal handler.
void removeLink() {
  if (linkExists == 0) return;
  linkExists = 0;
  unlink(linkPath);
  rmdir(folderPath);
}

void removeLinkAndEnd(int signalNumber) {
  removeLink();
  // The signal is blocked until this returns, and then ends the process as if there were no
  // handler: a shell sees an interrupted program instead of an exit code.
  signal(signalNumber, SIG_DFL);
  raise(signalNumber);
}

// Blocks the ending signals while the link is partially created or removed.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signalNumber : kEndingSignals) sigaddset(&ending, signalNumber);
    pthread_sigmask(SIG_BLOCK, &ending, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

void catchEndingSignals() {
  for (const int signalNumber : kEndingSignals) {
    struct sigaction action = {};
    sigaction(signalNumber, nullptr, &action);
    // A user who started the program with a signal ignored (nohup, a background job) wants it to
    // stay ignored.
    if (action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = removeLinkAndEnd;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
  }
}

std::string temporaryFolder() {
  const char* folder = getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

Failure noPrivateFolder(const std::string& folder, int error) {
  return Failure(kFailed, folder, "can't be made: " + systemMessage(error),
                 "Set TMPDIR to a folder that is writable and has a short path");
}

void makeLink(const std::string& target) {
  const std::string pattern = temporaryFolder() + "/facefeature-XXXXXX";
  const std::string name = "/" + std::string(kModelFolderName);
  if (pattern.size() + name.size() >= PATH_MAX) throw noPrivateFolder(pattern, ENAMETOOLONG);
  snprintf(folderPath, sizeof folderPath, "%s", pattern.c_str());
  // mkdtemp creates it with mode 0700.
  if (mkdtemp(folderPath) == nullptr) throw noPrivateFolder(pattern, errno);
  const std::string link = folderPath + name;
  snprintf(linkPath, sizeof linkPath, "%s", link.c_str());
  if (symlink(target.c_str(), linkPath) != 0) {
    const int error = errno;
    rmdir(folderPath);
    throw noPrivateFolder(link, error);
  }
  linkExists = 1;
}

}  // namespace

std::string libraryModelFolder() {
  // The library removes the last separator and everything after it, and first adds one if it is
  // missing: one separator at the end makes no difference.
  std::string folder = temporaryFolder();
  if (folder.back() != '/') folder += '/';
  return folder + kModelFolderName;
}

ModelLink::ModelLink(const std::string& modelFolder) {
  const fs::path folder = canonicalModelFolder(modelFolder);
  if (folder.filename() == kModelFolderName) {
    setenv("TMPDIR", folder.parent_path().c_str(), 1);
    return;
  }
  const SignalsHeld held;
  makeLink(folder.string());
  // The library ends the process with exit() where a net can't be built.
  static const bool atExit = std::atexit(removeLink) == 0;
  static_cast<void>(atExit);
  catchEndingSignals();
  setenv("TMPDIR", folderPath, 1);
}

ModelLink::~ModelLink() {
  const SignalsHeld held;
  removeLink();
}

}  // namespace facefeature_tools
