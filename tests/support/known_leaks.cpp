// What the leak checker need not report: memory that the library keeps on purpose.
//
// The coefficients of a weighted sum live until the process ends. Matrices that a layer has read
// from files and then takes from another layer are not freed. A net that can't be built is leaked
// with its layers, in a process that ends or after a creation that failed.
//
// Exported, since the checker is a library of its own.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:facefeature::EltwiseSumLayer::EltwiseSumLayer\n"
         "leak:facefeature::WeightLayer::WeightLayer\n"
         "leak:facefeature::loadWeightMatrices\n"
         "leak:facefeature::loadBiasMatrix\n"
         "leak:facefeature::ConvNet::build\n";
}
