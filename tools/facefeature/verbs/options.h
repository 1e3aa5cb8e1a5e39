// The arguments and options of a verb.
//
// A layer over CLI11 without its headers, which add seconds to the compilation of every file that
// calls them. What the layer lacks, a verb does on cli() with the headers included.
#ifndef FACEFEATURE_TOOLS_VERBS_OPTIONS_H
#define FACEFEATURE_TOOLS_VERBS_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace facefeature_tools {

// One argument or option: a reference to it, valid as long as the program's command line. Each
// function changes it and returns it.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option required();
  // What help texts show for the value instead of its type.
  Option valueName(const std::string& name);
  // fault returns the error in a value, or an empty text. Help texts do not mention it.
  Option check(std::string (*fault)(const std::string& value));
  // Help texts show the value that the target has now.
  Option showDefault();
  // The command line may not have both.
  Option excludes(Option other);

 private:
  CLI::Option* option_;
};

class Options {
 public:
  // verb outlives the object.
  explicit Options(CLI::App& verb) : verb_(verb) {}

  // Adds an argument ("PHOTO") or an option ("-o,--output"). The target outlives the parse, and
  // keeps its value if the command line does not give one. A vector takes one value or more.
  Option add(const std::string& name, std::string& target, const std::string& help);
  Option add(const std::string& name, std::vector<std::string>& target, const std::string& help);
  Option add(const std::string& name, uint64_t& target, const std::string& help);
  Option add(const std::string& name, std::optional<float>& target, const std::string& help);
  // An option without a value, which sets the target to true.
  Option addFlag(const std::string& name, bool& target, const std::string& help);
  // An argument or option that was added before, by one of its names.
  Option named(const std::string& name) const;

  CLI::App& cli() const { return verb_; }

 private:
  CLI::App& verb_;
};

}  // namespace facefeature_tools

#endif
