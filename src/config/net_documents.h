// The parsed texts of the 25 nets, and the index of the net being built.  [STATE]
#ifndef FACEFEATURE_CONFIG_NET_DOCUMENTS_H
#define FACEFEATURE_CONFIG_NET_DOCUMENTS_H

#include <cstdint>
#include <string>

#include "config/config_document.h"
#include "config/net_definitions.h"

namespace facefeature {

// Element i is the parsed text of net i. Empty after loading; filled by the construction of net i,
// on the thread that creates the engine; kept after the net is destroyed, until net i is built
// again or the library is unloaded.
extern ConfigDocument netDocuments[kNetCount];

// The net being built: the constructors of layers take no document and find their parameters in
// netDocuments[currentNetIndex]. Written only by the ConvNet constructor, and read only while a net
// is being built.
extern uint32_t currentNetIndex;

// netDocuments[currentNetIndex].
ConfigDocument& currentDocument();

// The section with this name in the current document, or a section without entries if there is
// none. Never null; valid until the document is parsed again.
const ConfigSection& currentSection(const std::string& name);

}  // namespace facefeature

#endif
