/* A host of the batch library. Exits with the version of its interface. */
#include <facefeature/batch.h>

int main(void) { return FaceBatchVersion() == kFaceBatchVersion ? kFaceBatchVersion : 0; }
