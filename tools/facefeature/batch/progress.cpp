#include "batch/progress.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "base/failure.h"
#include "base/open_file.h"

namespace facefeature_tools {
namespace {

using Json = nlohmann::ordered_json;

// The longest silence of each style.
constexpr std::chrono::milliseconds kTerminalPause(200);
constexpr std::chrono::milliseconds kJsonPause(1000);
constexpr std::chrono::milliseconds kPlainPause(10000);

constexpr char kClearLine[] = "\r\x1b[K";

void put(const std::string& text) {
  // One call, and no buffer: a line must not wait for the next.
  std::fwrite(text.data(), 1, text.size(), stderr);
}

bool rateIsKnown(const ProgressCounts& counts, double seconds) {
  return counts.done > 0 && seconds > 0.0;
}

double secondsLeft(const ProgressCounts& counts, double seconds) {
  const double left = static_cast<double>(counts.total - counts.before - counts.done);
  return left * seconds / static_cast<double>(counts.done);
}

// 0:07, 12:34, 1:02:03.
std::string clockText(double seconds) {
  const long long whole = std::llround(seconds);
  char text[48];
  if (whole < 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  }
  return text;
}

// Paths may contain any bytes, but JSON is UTF-8.
std::string dumped(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

ProgressFormat progressFormat(const std::string& word) {
  if (word == "auto")
    return isTerminal(stderr) ? ProgressFormat::kTerminal : ProgressFormat::kPlain;
  if (word == "plain") return ProgressFormat::kPlain;
  if (word == "json") return ProgressFormat::kJson;
  throw std::invalid_argument(word + " is not auto, plain or json");
}

std::string progressText(const ProgressCounts& counts, double seconds) {
  std::string text = std::to_string(counts.before + counts.done) + " of " +
                     std::to_string(counts.total) + ", " + std::to_string(counts.failed) +
                     " failed";
  if (!rateIsKnown(counts, seconds)) return text;
  char rate[48];
  std::snprintf(rate, sizeof rate, ", %.1f a second", static_cast<double>(counts.done) / seconds);
  return text + rate + ", " + clockText(secondsLeft(counts, seconds)) + " left";
}

std::string progressJson(const char* event, const ProgressCounts& counts, double seconds) {
  Json object = {{"event", event},      {"total", counts.total},   {"before", counts.before},
                 {"done", counts.done}, {"failed", counts.failed}, {"seconds", seconds},
                 {"rate", nullptr},     {"seconds_left", nullptr}};
  if (rateIsKnown(counts, seconds)) {
    object["rate"] = static_cast<double>(counts.done) / seconds;
    object["seconds_left"] = secondsLeft(counts, seconds);
  }
  return dumped(object);
}

Progress::Progress(ProgressFormat format, const std::string& verb, size_t total, size_t before)
    : format_(format), verb_(verb), start_(Clock::now()), lastReport_(start_) {
  counts_.total = total;
  counts_.before = before;
  if (format_ == ProgressFormat::kJson) put(progressJson("start", counts_, 0.0));
}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::about(const char* event, const std::string& id, const std::string& text) {
  if (format_ == ProgressFormat::kJson) {
    put(dumped({{"event", event}, {"id", id}, {"text", text}}));
    return;
  }
  clear();
  say(verb_, id + ": " + text);
}

void Progress::failed(const std::string& id, const std::string& text) {
  ++counts_.done;
  ++counts_.failed;
  about("failed", id, text);
}

void Progress::failed(const std::string& text) {
  ++counts_.done;
  ++counts_.failed;
  clear();
  say(verb_, text);
}

void Progress::warned(const std::string& id, const std::string& text) {
  about("warning", id, text);
}

void Progress::tick() {
  const Clock::time_point now = Clock::now();
  const auto pause = format_ == ProgressFormat::kTerminal ? kTerminalPause
                     : format_ == ProgressFormat::kJson   ? kJsonPause
                                                          : kPlainPause;
  if (now - lastReport_ < pause) return;
  lastReport_ = now;
  if (format_ == ProgressFormat::kJson) {
    put(progressJson("progress", counts_, seconds()));
  } else if (format_ == ProgressFormat::kPlain) {
    say(verb_, progressText(counts_, seconds()));
  } else {
    put(kClearLine + ("facefeature " + verb_) + ": " + progressText(counts_, seconds()));
  }
}

void Progress::clear() {
  if (format_ == ProgressFormat::kTerminal) put(kClearLine);
}

void Progress::end(const std::string& text) {
  if (format_ == ProgressFormat::kJson) {
    put(progressJson("end", counts_, seconds()));
    return;
  }
  clear();
  say(verb_, text);
}

}  // namespace facefeature_tools
