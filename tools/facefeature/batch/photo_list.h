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
  std::string landmarks;  // empty where the list names none
};

// The entries of a list file. A first row "id,photo" or "id,photo,landmarks" is a heading. Relative
// paths start in the list's own folder and are returned joined to it. Throws Failure (kBadInput)
// for a list that is not sound: every row has two or three fields, ids are good by
// identifierFault() and differ, a photograph is named.
std::vector<PhotoEntry> readPhotoList(const std::string& path);

// One of several parts of a list, for machines that share the work.
struct Shard {
  size_t number = 1;  // from 1 to count
  size_t count = 1;
};

// From text like "2/10". Throws std::invalid_argument with what is wrong.
Shard parseShard(const std::string& text);

// The shard's entries: neighbours, so that the shards one after the other are the list.
std::vector<PhotoEntry> shardOf(const std::vector<PhotoEntry>& entries, const Shard& shard);

}  // namespace facefeature_tools

#endif
