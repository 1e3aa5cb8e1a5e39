// The texts of the 25 nets, built into the library.
#ifndef FACEFEATURE_CONFIG_NET_DEFINITIONS_H
#define FACEFEATURE_CONFIG_NET_DEFINITIONS_H

#include <cstdint>

namespace facefeature {

constexpr int32_t kNetCount = 25;

// A text ends with a NUL, is ASCII, and its lines end with LF.
using NetDefinition = char;

// Element i is the text of net i. Constants; no file overrides them.
extern const NetDefinition* const netDefinitions[kNetCount];

}  // namespace facefeature

#endif
