// The lists in a layer's parameters: values joined by "_".
#ifndef FACEFEATURE_CONFIG_LAYER_PARAMETERS_H
#define FACEFEATURE_CONFIG_LAYER_PARAMETERS_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature {

// The pieces of text between "_". An empty piece ahead of a "_" is a token, but nothing follows a
// last "_": "a__b" is "a", "", "b"; "a_" is "a"; "" is none.
std::vector<std::string> splitList(const std::string& text);

// Each reads the key of a section of the current document (config/net_documents.h) and answers a
// new list that belongs to the caller; an empty list when the section or the key is missing. Only
// the first of several values joined by commas counts.
//
// Numbers are read the way a stream reads them in the classic locale, and not by
// config/number_text.h. A token that is no number of the type (out of range included) still gives
// an element: it repeats the element before it, and the first one is 0.
std::vector<int32_t>* getIntList(const std::string& sectionName, const std::string& key);
std::vector<float>* getFloatList(const std::string& sectionName);  // the key is always "coeffs"
std::vector<std::string>* getStringList(const std::string& sectionName, const std::string& key);

// The index of the first equal name, or -1.
int32_t findLayerName(const std::vector<std::string>& names, const std::string& name);

}  // namespace facefeature

#endif
