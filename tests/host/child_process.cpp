#include "host/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

std::vector<std::string> changedEnvironment(const Environment& changes) {
  std::vector<std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string variable = *entry;
    if (changes.count(variable.substr(0, variable.find('='))) == 0) variables.push_back(variable);
  }
  for (const auto& [name, value] : changes) {
    if (value) variables.push_back(name + "=" + *value);
  }
  return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

std::string taken(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  unlink(path.c_str());
  return text;
}

}  // namespace

bool ChildResult::wasAborted() const { return signal == SIGABRT; }

ChildResult runChild(const std::string& program, const std::vector<std::string>& arguments,
                     const Environment& changes) {
  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables = changedEnvironment(changes);
  const std::string out = privateTempFolder() + "/child-out";
  const std::string err = privateTempFolder() + "/child-err";

  // Files instead of pipes: the child can write any amount to either, and a process that it leaves
  // behind can't keep the parent waiting.
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), flags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), flags, 0600);
  pid_t child = 0;
  const int failure = posix_spawn(&child, program.c_str(), &actions, nullptr,
                                  pointers(words).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw std::runtime_error("can't start " + program);

  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::runtime_error("can't wait for " + program);
  ChildResult result;
  if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  result.out = taken(out);
  result.err = taken(err);
  return result;
}

}  // namespace facefeature_test
