// The lists in a layer's parameters: values joined by "_".
#ifndef FACEFEATURE_CONFIG_LAYER_PARAMETERS_H
#define FACEFEATURE_CONFIG_LAYER_PARAMETERS_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature {

// The tokens between "_". An empty token before a "_" counts, but nothing follows a trailing "_":
// "a__b" is "a", "", "b"; "a_" is "a"; "" has no tokens.
std::vector<std::string> splitList(const std::string& text);

// Each reads the key of a section of the current document (config/net_documents.h) and returns a
// new list, owned by the caller; an empty list if the section or the key is missing. Only the first
// of several values separated by commas is read.
//
// Numbers are extracted as by a stream in the classic locale, not by config/number_text.h. A token
// that is not a number of the type (or is out of range) still gives an element: it repeats the
// previous element, or is 0 if it is the first.
std::vector<int32_t>* getIntList(const std::string& sectionName, const std::string& key);
std::vector<float>* getFloatList(const std::string& sectionName);  // the key is always "coeffs"
std::vector<std::string>* getStringList(const std::string& sectionName, const std::string& key);

// The index of the first equal name, or -1.
int32_t findLayerName(const std::vector<std::string>& names, const std::string& name);

}  // namespace facefeature

#endif
