#include "config/net_definitions.h"

#include "config/net_template.inc"

namespace facefeature {

// Index, number, channels. Channels and width match the patch that the net reads
// (geometry/patch_table.cpp).
const NetDefinition* const netDefinitions[kNetCount] = {
    NET_55("0", "1", "3"),   NET_55("1", "2", "3"),   NET_47("2", "3", "3"),
    NET_47("3", "4", "1"),   NET_47("4", "5", "3"),   NET_47("5", "6", "1"),
    NET_47("6", "7", "1"),   NET_47("7", "8", "3"),   NET_47("8", "9", "1"),
    NET_47("9", "10", "1"),  NET_47("10", "11", "3"), NET_47("11", "12", "1"),
    NET_47("12", "13", "1"), NET_47("13", "14", "3"), NET_47("14", "15", "1"),
    NET_47("15", "16", "1"), NET_47("16", "17", "3"), NET_47("17", "18", "1"),
    NET_47("18", "19", "3"), NET_47("19", "20", "1"), NET_47("20", "21", "3"),
    NET_47("21", "22", "1"), NET_47("22", "23", "3"), NET_47("23", "24", "1"),
    NET_47("24", "25", "3"),
};

}  // namespace facefeature
