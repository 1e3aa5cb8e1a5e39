#include "verbs/options.h"

#include <CLI/CLI.hpp>

namespace facefeature_tools {

Option Option::required() {
  option_->required();
  return *this;
}

Option Option::valueName(const std::string& name) {
  option_->option_text(name);
  return *this;
}

Option Option::check(std::string (*fault)(const std::string& value)) {
  option_->check(fault);
  return *this;
}

Option Option::showDefault() {
  option_->capture_default_str();
  return *this;
}

Option Option::excludes(Option other) {
  option_->excludes(other.option_);
  return *this;
}

Option Options::add(const std::string& name, std::string& target, const std::string& help) {
  return Option(verb_.add_option(name, target, help));
}

Option Options::add(const std::string& name, std::vector<std::string>& target,
                    const std::string& help) {
  return Option(verb_.add_option(name, target, help));
}

Option Options::add(const std::string& name, uint64_t& target, const std::string& help) {
  return Option(verb_.add_option(name, target, help));
}

Option Options::add(const std::string& name, std::optional<float>& target,
                    const std::string& help) {
  return Option(verb_.add_option(name, target, help));
}

Option Options::addFlag(const std::string& name, bool& target, const std::string& help) {
  return Option(verb_.add_flag(name, target, help));
}

Option Options::named(const std::string& name) const { return Option(verb_.get_option(name)); }

}  // namespace facefeature_tools
