#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "support/reference_config.h"

// Lists are read by formatted extraction in the classic locale. This implements what that does to a
// token character by character, without a stream.
namespace reference {
namespace {

constexpr char kDigits[] = "0123456789";

// Removes the leading characters that belong to the set.
std::string take(std::string* text, const std::string& set) {
  const size_t count = std::min(text->find_first_not_of(set), text->size());
  const std::string taken = text->substr(0, count);
  text->erase(0, count);
  return taken;
}

// Removes one leading character if it belongs to the set.
std::string takeOne(std::string* text, const std::string& set) {
  if (text->empty() || set.find((*text)[0]) == std::string::npos) return "";
  const std::string taken = text->substr(0, 1);
  text->erase(0, 1);
  return taken;
}

bool extractInt(std::string token, int32_t* value) {
  take(&token, " \t\n\v\f\r");
  const std::string sign = takeOne(&token, "+-");
  const std::string digits = take(&token, kDigits);
  if (digits.empty()) return false;

  int64_t number = 0;
  for (const char digit : digits) {
    number = 10 * number + (digit - '0');
    if (number > int64_t{1} << 32) return false;
  }
  if (sign == "-") number = -number;
  if (number > std::numeric_limits<int32_t>::max()) return false;
  if (number < std::numeric_limits<int32_t>::min()) return false;
  *value = static_cast<int32_t>(number);
  return true;
}

// An exponent letter after a mantissa belongs to the number, and the number is unreadable if no
// digit follows.
bool extractFloat(std::string token, float* value) {
  take(&token, " \t\n\v\f\r");
  std::string number = takeOne(&token, "+-");
  const std::string whole = take(&token, kDigits);
  const std::string point = takeOne(&token, ".");
  const std::string fraction = point.empty() ? "" : take(&token, kDigits);
  if (whole.empty() && fraction.empty()) return false;
  number += whole + point + fraction;

  const std::string letter = takeOne(&token, "eE");
  if (!letter.empty()) {
    const std::string sign = takeOne(&token, "+-");
    const std::string exponent = take(&token, kDigits);
    if (exponent.empty()) return false;
    number += letter + sign + exponent;
  }
  const float result = std::strtof(number.c_str(), nullptr);
  if (std::isinf(result)) return false;
  *value = result;
  return true;
}

}  // namespace

std::vector<std::string> splitList(const std::string& value) {
  std::vector<std::string> tokens;
  std::string rest = value;
  while (!rest.empty()) {
    const size_t end = rest.find('_');
    tokens.push_back(rest.substr(0, end));
    rest = end == std::string::npos ? "" : rest.substr(end + 1);
  }
  return tokens;
}

std::vector<int32_t> readIntList(const std::string& value) {
  std::vector<int32_t> list;
  int32_t latest = 0;
  for (const std::string& token : splitList(value)) {
    extractInt(token, &latest);
    list.push_back(latest);
  }
  return list;
}

std::vector<float> readFloatList(const std::string& value) {
  std::vector<float> list;
  float latest = 0.0f;
  for (const std::string& token : splitList(value)) {
    extractFloat(token, &latest);
    list.push_back(latest);
  }
  return list;
}

int32_t findName(const std::vector<std::string>& names, const std::string& name) {
  int32_t found = -1;
  for (size_t i = names.size(); i > 0; --i) {
    if (names[i - 1] == name) found = static_cast<int32_t>(i - 1);
  }
  return found;
}

}  // namespace reference
