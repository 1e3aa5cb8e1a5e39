#include "model/folder_ownership.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "model/model_files.h"
#include "model/model_link.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kAdministrator = 0;

class Inspection {
 public:
  explicit Inspection(uint32_t caller) : caller_(caller) {}

  // The file itself and, if it is a link, its target.
  void look(const fs::path& path) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) return;
    if (S_ISLNK(status.st_mode)) {
      judgeOwner(path, status, "is a link that belongs");
      followLink(path);
      return;
    }
    judge(path, status);
  }

  std::vector<OwnershipDoubt> doubts() const { return doubts_; }

 private:
  void followLink(const fs::path& path) {
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    if (error) return;
    lookOnce(target);
    // Anyone who can write to the folder can replace this file.
    lookOnce(target.parent_path());
  }

  void lookOnce(const fs::path& path) {
    struct stat status;
    if (seen_.insert(path.string()).second && lstat(path.c_str(), &status) == 0) {
      judge(path, status);
    }
  }

  void judge(const fs::path& path, const struct stat& status) {
    judgeOwner(path, status, "belongs");
    // In a folder like /tmp, where everyone can write but only change their own files, the only
    // risk is that someone puts a model there first. That is enough to report.
    const bool isShared = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    const std::string restriction = isShared ? ", who can put there what is missing" : "";
    if ((status.st_mode & S_IWGRP) != 0) {
      add(path, "can be written by its group " + std::to_string(status.st_gid) + restriction);
    }
    if ((status.st_mode & S_IWOTH) != 0) add(path, "can be written by everybody" + restriction);
  }

  void judgeOwner(const fs::path& path, const struct stat& status, const std::string& belongs) {
    if (status.st_uid == caller_ || status.st_uid == kAdministrator) return;
    add(path, belongs + " to somebody else, user " + std::to_string(status.st_uid));
  }

  void add(const fs::path& path, const std::string& doubt) {
    const auto same =
        std::find_if(doubts_.begin(), doubts_.end(),
                     [&](const OwnershipDoubt& other) { return other.doubt == doubt; });
    if (same != doubts_.end()) {
      ++same->others;
    } else {
      doubts_.push_back({path.string(), doubt, 0});
    }
  }

  const uint32_t caller_;
  std::set<std::string> seen_;  // targets of links and their folders
  std::vector<OwnershipDoubt> doubts_;
};

bool isDefaultModel(const std::string& folder) {
  std::error_code error;
  return fs::equivalent(folder, libraryModelFolder(), error) && !error;
}

}  // namespace

uint32_t callingUser() { return geteuid(); }

std::vector<OwnershipDoubt> ownershipDoubts(const std::string& folder, uint32_t caller) {
  Inspection inspection(caller);
  if (isDefaultModel(folder)) {
    inspection.look(fs::path(libraryModelFolder()).parent_path());
    // The path there may differ from the caller's.
    inspection.look(libraryModelFolder());
  } else {
    inspection.look(folder);
  }
  for (const ModelFile& file : modelFiles()) inspection.look(fs::path(folder) / file.name);
  return inspection.doubts();
}

}  // namespace facefeature_tools
