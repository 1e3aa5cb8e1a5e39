/*
 * facefeature_batch: the features of up to 16 faces in one pass over the model.
 *
 * A second library beside facefeature, for hosts that extract many faces. The weights of the nets
 * and the projections are read from memory once for all faces of a pass, so that a face takes less
 * time (docs/performance.md). Features are bit-identical to those of ExtractFeature, whatever the
 * number of faces. Scores need facefeature: CompareFeatures.
 *
 *     FaceBatch* batch = NULL;
 *     CreateFaceBatch(&batch);                                   once
 *     PutFaceInBatch(batch, 0, pixels, w, h, stride, face);      the photograph may be freed now
 *     PutFaceInBatch(batch, 1, pixels2, w2, h2, stride2, face2);
 *     ExtractFaceBatch(batch, 2, features);                      features[0] and features[1]
 *     DestroyFaceBatch(batch);                                   once
 *
 * The model
 *     The same 303 files in the same folder as for facefeature (facefeature/facefeature.h); the
 *     temporary folder is read when this library is loaded. The two libraries share nothing: a
 *     process that creates engines in both has the model in memory twice.
 *
 * Binding
 *     The five names below, on ELF (libfacefeature_batch.so.1) and on Windows
 *     (facefeature_batch.dll). Nothing else is exported. The calling convention is C's. New
 *     functions may be added under the same file name; FaceBatchVersion then grows.
 *
 * Failures
 *     Every function but DestroyFaceBatch and FaceBatchVersion returns a status, and no exception
 *     leaves any of them. Memory that runs out is a status too, except inside the OpenMP runtime,
 *     which ends the process if it can't start its threads. The lines "load PATH failed" on
 *     standard output are those of CreateFeatureEngine.
 *
 * What may run together
 *     As for facefeature, with batches in place of engines: creations and destructions run alone,
 *     calls for different batches may run at the same time, calls for one batch may not. The
 *     number of threads, forking, and what the last destruction does are also the same.
 */
#ifndef FACEFEATURE_BATCH_H
#define FACEFEATURE_BATCH_H

#include <facefeature/facefeature.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What FaceBatchVersion returned when this header was written. */
enum { kFaceBatchVersion = 1 };

/* Number of faces that a batch has room for. */
enum { kFaceBatchFaces = 16 };

/* Statuses. */
enum {
  kFaceBatchDone = 0,
  kFaceBatchBadArgument = 1, /* nothing was read or changed */
  kFaceBatchBadFace = 2,     /* a face that ExtractFeature would answer with NaNs */
  kFaceBatchNoModel = 3,     /* the model can't be opened, or its projection is gone */
  kFaceBatchNoMemory = 4,
  kFaceBatchFailed = 5 /* the nets don't run, for instance because weights are missing */
};

/* An engine with room for the faces of a pass. Created and freed by the library; opaque. */
typedef struct FaceBatch FaceBatch;

/* The version of this interface in the loaded library: 1, or more with later additions. */
int32_t FaceBatchVersion(void);

/*
 * Reads the model and builds a batch: see CreateFeatureEngine, whose rules for several engines hold
 * for several batches. The batch belongs to the caller until DestroyFaceBatch.
 *
 * Returns kFaceBatchDone, kFaceBatchBadArgument (batch is null), kFaceBatchNoModel (one of the
 * files "0-1-0" to "0-25-0", "6-0", "6-1", "6-2" can't be opened) or kFaceBatchNoMemory. *batch is
 * null unless the result is kFaceBatchDone. Files of weights and biases that can't be opened are
 * only printed. Memory that runs out leaves what was allocated until then allocated.
 */
int32_t CreateFaceBatch(FaceBatch** batch);

/*
 * Samples the patches of one face and keeps them as face number index. A face that is there
 * already is replaced. Nothing of the photograph or the landmarks is kept.
 *
 * batch      from CreateFaceBatch.
 * index      0 to 15.
 * pixels ... landmarks  as for ExtractFeature.
 *
 * Returns kFaceBatchDone, kFaceBatchBadArgument (batch is null, or index is outside its range),
 * kFaceBatchBadFace (ExtractFeature would give NaNs for these arguments), kFaceBatchNoModel or
 * kFaceBatchNoMemory. After any status but the first two, the batch has no face of this number.
 * After kFaceBatchBadArgument, it is unchanged.
 */
int32_t PutFaceInBatch(FaceBatch* batch, int32_t index, const uint8_t* pixels, int32_t width,
                       int32_t height, int32_t stride, const LandmarkSet* landmarks);

/*
 * Computes the features of faces 0 to count - 1, and removes all faces from the batch.
 *
 * batch     from CreateFaceBatch, with all of these faces.
 * count     1 to 16.
 * features  room for count features, in the caller's memory; features[i] becomes that of face i.
 *
 * Returns kFaceBatchDone, kFaceBatchBadArgument (a null pointer, a count outside its range, or a
 * face that is missing), kFaceBatchNoModel, kFaceBatchNoMemory or kFaceBatchFailed. After
 * kFaceBatchBadArgument, nothing has changed. After the last three, all floats of the count
 * features are NaNs, and the batch is empty and can be used again. A model with numbers that are
 * not finite gives NaNs with kFaceBatchDone, as it does in ExtractFeature: test values[501].
 */
int32_t ExtractFaceBatch(FaceBatch* batch, int32_t count, FeatureVector* features);

/* Frees a batch. Null is allowed and does nothing. Otherwise like DestroyFeatureEngine. */
void DestroyFaceBatch(FaceBatch* batch);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* FACEFEATURE_BATCH_H */
