// Lists of photographs: CSV with an id, a photograph and its landmarks on each row.
#ifndef FACEFEATURE_TOOLS_BATCH_PHOTO_LIST_H
#define FACEFEATURE_TOOLS_BATCH_PHOTO_LIST_H

#include <string>
#include <string_view>
#include <vector>

namespace facefeature_tools {

struct PhotoEntry {
  std::string id;
  std::string photo;
  std::string landmarks;  // empty if the list names none
};

// The entries of a list file. A first row "id,photo" or "id,photo,landmarks" is a heading. Relative
// paths are relative to the list's folder and are returned joined to it. Throws Failure (kBadInput)
// for an invalid list: every row must have two or three fields and name a photograph, and ids must
// be valid by identifierFault() and distinct.
std::vector<PhotoEntry> readPhotoList(const std::string& path);

// One of several parts of a list, for machines that share the work.
struct Shard {
  size_t number = 1;  // from 1 to count
  size_t count = 1;
};

// Parses text like "2/10". Throws std::invalid_argument with the error.
Shard parseShard(const std::string& text);

// The shard's entries: a contiguous range, so that the shards in order are the list.
std::vector<PhotoEntry> shardOf(const std::vector<PhotoEntry>& entries, const Shard& shard);

}  // namespace facefeature_tools

#endif
