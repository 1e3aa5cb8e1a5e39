// The text files of this repository.
#ifndef FACEFEATURE_TESTS_RULES_REPOSITORY_H
#define FACEFEATURE_TESTS_RULES_REPOSITORY_H

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace facefeature_test {

inline std::filesystem::path repositoryRoot() { return FACEFEATURE_SOURCE_DIR; }

// The content of a file, by its path below the root.
inline std::string fileText(const std::string& path) {
  std::ifstream file(repositoryRoot() / path, std::ios::binary);
  if (!file) throw std::runtime_error("can't read " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::vector<std::string> linesOfText(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The files in a folder and its subfolders, by path below the root, in ascending order; empty if
// the folder does not exist. Pictures and other files without lines are left out, and so are
// installed npm packages, which are not part of the repository.
inline std::vector<std::string> textFilesBelow(const std::string& folder) {
  std::vector<std::string> paths;
  if (!std::filesystem::is_directory(repositoryRoot() / folder)) return paths;
  std::filesystem::recursive_directory_iterator entry(repositoryRoot() / folder);
  for (; entry != std::filesystem::recursive_directory_iterator(); ++entry) {
    if (entry->path().filename() == "node_modules") entry.disable_recursion_pending();
    if (!entry->is_regular_file()) continue;
    const std::string path =
        entry->path().lexically_relative(repositoryRoot().lexically_normal()).generic_string();
    if (fileText(path).find('\0') == std::string::npos) paths.push_back(path);
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// The files in the root folder itself.
inline std::vector<std::string> textFilesInRoot() {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(repositoryRoot())) {
    const std::string name = entry.path().filename().string();
    // In a worktree .git is a file.
    if (entry.is_regular_file() && name != ".git") paths.push_back(name);
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace facefeature_test

#endif
