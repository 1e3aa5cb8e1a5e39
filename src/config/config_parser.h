// Parses a text into sections: five small readers that share one cursor.
#ifndef FACEFEATURE_CONFIG_CONFIG_PARSER_H
#define FACEFEATURE_CONFIG_CONFIG_PARSER_H

#include "config/config_document.h"

namespace facefeature {

// Fills document, which must be cleared and have its pool, with the sections of text (which ends at
// its NUL). The assembly buffer and the entry list are shared by the whole process: one parse at a
// time, on any thread. Throws std::bad_alloc.
void parseSections(const char* text, ConfigDocument& document);

}  // namespace facefeature

#endif
