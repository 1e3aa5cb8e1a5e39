#include "batch/photo_list.h"

#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <unordered_set>

#include "base/csv.h"
#include "base/failure.h"
#include "base/identifier.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Write a list of rows id,photo,landmarks";
constexpr size_t kLimit = size_t{1} << 32;

bool isHeading(const std::vector<std::string>& fields) {
  return fields == std::vector<std::string>{"id", "photo"} ||
         fields == std::vector<std::string>{"id", "photo", "landmarks"};
}

// Empty for a valid row, or a text that completes "line N ...".
std::string rowFault(const std::vector<std::string>& fields) {
  if (fields.size() != 2 && fields.size() != 3) {
    return "has " + std::to_string(fields.size()) + " fields, not id,photo or id,photo,landmarks";
  }
  const std::string fault = identifierFault(fields[0]);
  if (!fault.empty()) return "has an id that " + fault;
  if (fields[1].empty()) return "does not name a photograph";
  for (const std::string& field : fields) {
    if (field.find('\0') != std::string::npos) return "contains a NUL character";
  }
  return "";
}

std::string joined(const std::filesystem::path& folder, const std::string& path) {
  return path.empty() ? path : (folder / path).string();
}

}  // namespace

std::vector<PhotoEntry> readPhotoList(const std::string& path) {
  const std::vector<uint8_t> bytes = readWholeFile(path, kLimit, kRemedy);
  std::vector<CsvRow> rows;
  try {
    rows = parseCsv(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  } catch (const std::runtime_error& error) {
    throw Failure(kBadInput, path, error.what(), kRemedy);
  }
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::vector<PhotoEntry> entries;
  std::unordered_set<std::string> ids;
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::vector<std::string>& fields = rows[i].fields;
    if (i == 0 && isHeading(fields)) continue;
    std::string fault = rowFault(fields);
    if (fault.empty() && !ids.insert(fields[0]).second) {
      fault = "repeats the id " + fields[0];
    }
    if (!fault.empty()) {
      throw Failure(kBadInput, path, "line " + std::to_string(rows[i].line) + " " + fault, kRemedy);
    }
    const std::string landmarks = fields.size() == 3 ? fields[2] : "";
    entries.push_back({fields[0], joined(folder, fields[1]), joined(folder, landmarks)});
  }
  return entries;
}

Shard parseShard(const std::string& text) {
  Shard shard;
  const char* end = text.data() + text.size();
  const auto number = std::from_chars(text.data(), end, shard.number);
  if (number.ec == std::errc() && number.ptr != end && *number.ptr == '/') {
    const auto count = std::from_chars(number.ptr + 1, end, shard.count);
    if (count.ec == std::errc() && count.ptr == end && shard.number >= 1 &&
        shard.number <= shard.count && shard.count <= 1000000) {
      return shard;
    }
  }
  throw std::invalid_argument(text +
                              " is not a shard such as 1/10, with a number from 1 to the count");
}

std::vector<PhotoEntry> shardOf(const std::vector<PhotoEntry>& entries, const Shard& shard) {
  const auto bound = [&](size_t number) {
    return entries.begin() + static_cast<std::ptrdiff_t>(entries.size() * number / shard.count);
  };
  return std::vector<PhotoEntry>(bound(shard.number - 1), bound(shard.number));
}

}  // namespace facefeature_tools
