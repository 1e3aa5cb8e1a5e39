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
  void inspect(const fs::path& path) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) return;
    if (S_ISLNK(status.st_mode)) {
      checkOwner(path, status, "is a link that belongs");
      followLink(path);
      return;
    }
    check(path, status);
  }

  std::vector<OwnershipWarning> warnings() const { return warnings_; }

 private:
  void followLink(const fs::path& path) {
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    if (error) return;
    inspectOnce(target);
    // Anyone who can write to the folder can replace this file.
    inspectOnce(target.parent_path());
  }

  void inspectOnce(const fs::path& path) {
    struct stat status;
    if (seen_.insert(path.string()).second && lstat(path.c_str(), &status) == 0) {
      check(path, status);
    }
  }

  void check(const fs::path& path, const struct stat& status) {
    checkOwner(path, status, "belongs");
    // In a folder like /tmp, where everyone can write but only change their own files, the only
    // risk is that someone puts a model there first. That is enough to report.
    const bool isShared = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    const std::string restriction = isShared ? ", who can add files that are missing" : "";
    if ((status.st_mode & S_IWGRP) != 0) {
      add(path, "can be written by its group " + std::to_string(status.st_gid) + restriction);
    }
    if ((status.st_mode & S_IWOTH) != 0) add(path, "can be written by everybody" + restriction);
  }

  void checkOwner(const fs::path& path, const struct stat& status, const std::string& belongs) {
    if (status.st_uid == caller_ || status.st_uid == kAdministrator) return;
    add(path, belongs + " to somebody else, user " + std::to_string(status.st_uid));
  }

  void add(const fs::path& path, const std::string& warning) {
    const auto same =
        std::find_if(warnings_.begin(), warnings_.end(),
                     [&](const OwnershipWarning& other) { return other.warning == warning; });
    if (same != warnings_.end()) {
      ++same->others;
    } else {
      warnings_.push_back({path.string(), warning, 0});
    }
  }

  const uint32_t caller_;
  std::set<std::string> seen_;  // targets of links and their folders
  std::vector<OwnershipWarning> warnings_;
};

bool isDefaultModel(const std::string& folder) {
  std::error_code error;
  return fs::equivalent(folder, libraryModelFolder(), error) && !error;
}

}  // namespace

uint32_t callingUser() { return geteuid(); }

std::vector<OwnershipWarning> ownershipWarnings(const std::string& folder, uint32_t caller) {
  Inspection inspection(caller);
  if (isDefaultModel(folder)) {
    inspection.inspect(fs::path(libraryModelFolder()).parent_path());
    // The path there may differ from the caller's.
    inspection.inspect(libraryModelFolder());
  } else {
    inspection.inspect(folder);
  }
  for (const ModelFile& file : modelFiles()) inspection.inspect(fs::path(folder) / file.name);
  return inspection.warnings();
}

}  // namespace facefeature_tools
