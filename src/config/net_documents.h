// The parsed texts of the 25 nets, and which of them is being built.  [STATE]
#ifndef FACEFEATURE_CONFIG_NET_DOCUMENTS_H
#define FACEFEATURE_CONFIG_NET_DOCUMENTS_H

#include <cstdint>
#include <string>

#include "config/config_document.h"
#include "config/net_definitions.h"

namespace facefeature {

// Element i is the parsed text of net i. Empty from load on; filled by the construction of net i,
// on the thread that creates the engine; kept after the net is gone, until net i is built again or
// the library is unloaded.
extern ConfigDocument netDocuments[kNetCount];

// The net being built: the constructors of layers take no document and find their parameters in
// netDocuments[currentNetIndex]. Written by the ConvNet constructor and by nothing else, read only
// while a net is being built.
extern uint32_t currentNetIndex;

// netDocuments[currentNetIndex].
ConfigDocument& currentDocument();

// The section of this name in the current document, or, where the document has none, a section
// without entries. Never null; good until the document is parsed again.
const ConfigSection& currentSection(const std::string& name);

}  // namespace facefeature

#endif
