// The order of names, and the two searches that rest on it.
#ifndef FACEFEATURE_CONFIG_CONFIG_ORDER_H
#define FACEFEATURE_CONFIG_CONFIG_ORDER_H

#include <cstdint>

#include "config/config_document.h"

namespace facefeature {

// Compares byte by byte as signed 8-bit values until the bytes differ or sought ends; the bytes
// reached then decide. Below zero, zero or above, as for strcmp. The NUL counts as 0, so bytes from
// 128 up sort ahead of everything else, a name's end included. An entry's text can stand for its
// key, since the comparison ends at the NUL behind the sought key.
int32_t compareNames(const char* sought, const char* element);

// Inserts element into array, which holds count elements in order and has room for one more. It
// goes ahead of equal ones, so of several equals the newest stands first.
void insertSorted(const char** array, uint32_t count, const char* element);
void insertSorted(ConfigSection** array, uint32_t count, ConfigSection* element);

// The index of an element with this name, or -1. Searches the closed range from 0 to count - 1 and
// answers the first equal one that it meets.
int32_t findSorted(const char* const* array, uint32_t count, const char* name);
int32_t findSorted(ConfigSection* const* array, uint32_t count, const char* name);

}  // namespace facefeature

#endif
