// The host program: reads the command line, runs the verb that it names, and reports failures. What
// a verb does is in verbs/verb_<name>.cpp.
#include <CLI/CLI.hpp>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "base/failure.h"
#include "verbs/options.h"
#include "verbs/verb_list.h"

namespace {

using namespace facefeature_tools;

class CommandLine {
 public:
  CommandLine() {
    // A path that begins with a slash is not an option, on Windows either.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "facefeature " FACEFEATURE_VERSION);
    app.require_subcommand(1);
    for (const Verb* verb : allVerbs()) add(*verb);
  }

  // The name of the verb that the command line names, or of the group alone, or nothing. Valid
  // after a parse that failed, too. A hidden verb has no name.
  std::string named() const {
    const Command* command = namedCommand();
    if (command != nullptr) return *command->verb->help == '\0' ? "" : command->verb->name;
    for (const auto& [name, group] : groups_) {
      if (group->parsed()) return name;
    }
    return "";
  }

  // REQUIRES: a parse that succeeded.
  ExitCode run() const { return namedCommand()->run(); }

  CLI::App app{
      "Extracts features of faces and compares them.\n"
      "Data goes to standard output, messages to standard error. Exit codes: 0 done, 1 failed\n"
      "otherwise (with --threshold: the score is below it), 2 wrong usage, 3 an input could\n"
      "not be read or is malformed, 4 the model is missing or incomplete, or features are of\n"
      "different models, 5 no answer with --threshold.",
      "facefeature"};

 private:
  struct Command {
    const Verb* verb;
    const CLI::App* app;
    VerbRun run;
  };

  void add(const Verb& verb) {
    const std::string name = verb.name;
    const size_t space = name.find(' ');
    CLI::App& parent = space == std::string::npos ? app : groupNamed(name.substr(0, space));
    // Without a space, npos + 1 is 0: the whole name.
    CLI::App* command = parent.add_subcommand(name.substr(space + 1), verb.help);
    if (*verb.help == '\0') command->group("");
    Options options(*command);
    commands_.push_back({&verb, command, verb.define(options)});
  }

  CLI::App& groupNamed(const std::string& name) {
    CLI::App*& group = groups_[name];
    if (group == nullptr) {
      group = app.add_subcommand(name, verbGroups().at(name));
      group->require_subcommand(1);
    }
    return *group;
  }

  // The command line names one verb at most.
  const Command* namedCommand() const {
    for (const Command& command : commands_) {
      if (command.app->parsed()) return &command;
    }
    return nullptr;
  }

  std::vector<Command> commands_;
  std::map<std::string, CLI::App*> groups_;
};

}  // namespace

int main(int argc, char** argv) {
  CommandLine line;
  try {
    line.app.parse(argc, argv);
  } catch (const CLI::Success& helpOrVersion) {
    return line.app.exit(helpOrVersion);
  } catch (const CLI::ParseError& error) {
    const std::string verb = line.named();
    const std::vector<std::string> unknown = line.app.remaining(true);
    const std::string wrong = unknown.empty() ? error.what() : "unknown: " + unknown.front();
    say(verb, wrong + ". Run \"facefeature " + verb +
                  (verb.empty() ? "--help\" for its usage." : " --help\" for its usage."));
    return kWrongUsage;
  }
  try {
    return line.run();
  } catch (const Failure& failure) {
    say(line.named(), failure.what());
    return failure.code();
  } catch (const std::bad_alloc&) {
    say(line.named(), "out of memory. Use a smaller picture, or free memory.");
    return kFailed;
  } catch (const std::exception& error) {
    say(line.named(), error.what());
    return kFailed;
  }
}
