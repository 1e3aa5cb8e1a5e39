#include "config/net_documents.h"

namespace facefeature {

ConfigDocument netDocuments[kNetCount];
uint32_t currentNetIndex = 0;

ConfigDocument& currentDocument() { return netDocuments[currentNetIndex]; }

const ConfigSection& currentSection(const std::string& name) {
  static const ConfigSection kNoEntries = {"", 0, nullptr, nullptr, -1};
  const ConfigSection* section = currentDocument().findSection(name.c_str());
  return section != nullptr ? *section : kNoEntries;
}

}  // namespace facefeature
