// The order of names, and the two searches that depend on it.
#ifndef FACEFEATURE_CONFIG_CONFIG_ORDER_H
#define FACEFEATURE_CONFIG_CONFIG_ORDER_H

#include <cstdint>

#include "config/config_document.h"

namespace facefeature {

// Compares byte by byte as signed 8-bit values until the bytes differ or sought ends; the bytes
// reached then decide. The result is below, equal to or above zero, as for strcmp. The NUL is
// treated as 0, so bytes from 128 up sort before everything else, including the end of a name. An
// entry's text can be passed for its key, since the comparison ends at the NUL after the sought
// key.
int32_t compareNames(const char* sought, const char* element);

// Inserts element into array, which holds count elements in order and has room for one more. It is
// inserted before equal ones, so the newest of several equals comes first.
void insertSorted(const char** array, uint32_t count, const char* element);
void insertSorted(ConfigSection** array, uint32_t count, ConfigSection* element);

// The index of an element with this name, or -1. Searches the closed range from 0 to count - 1 and
// returns the first equal one that it probes.
int32_t findSorted(const char* const* array, uint32_t count, const char* name);
int32_t findSorted(ConfigSection* const* array, uint32_t count, const char* name);

}  // namespace facefeature

#endif
