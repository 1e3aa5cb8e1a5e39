// The arguments and options of a verb.
//
// A layer over CLI11 without its headers, which would add seconds to the compilation of every file
// that includes this one. For anything else, a verb includes CLI11's headers and uses cli().
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

// A reference to an argument or option, valid as long as the program's command line. Each function
// changes the argument and returns the reference.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option required();
  // The name of the value in help texts, instead of its type.
  Option valueName(const std::string& name);
  // fault returns the error of a value, or an empty text. Help texts do not mention it.
  Option check(std::string (*fault)(const std::string& value));
  // Help texts show the current value of the target.
  Option showDefault();
  // The command line must not have both.
  Option excludes(Option other);

 private:
  CLI::Option* option_;
};

class Options {
 public:
  // verb must outlive the object.
  explicit Options(CLI::App& verb) : verb_(verb) {}

  // Adds an argument ("PHOTO") or an option ("-o,--output"). The target must outlive the parse and
  // keeps its value if the command line does not set it. A vector accepts one value or more.
  Option add(const std::string& name, std::string& target, const std::string& help);
  Option add(const std::string& name, std::vector<std::string>& target, const std::string& help);
  Option add(const std::string& name, uint64_t& target, const std::string& help);
  Option add(const std::string& name, std::optional<float>& target, const std::string& help);
  // An option without a value, which sets the target to true.
  Option addFlag(const std::string& name, bool& target, const std::string& help);
  // An existing argument or option, by one of its names.
  Option named(const std::string& name) const;

  CLI::App& cli() const { return verb_; }

 private:
  CLI::App& verb_;
};

}  // namespace facefeature_tools

#endif
