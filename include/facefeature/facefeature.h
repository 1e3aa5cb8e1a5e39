/*
 * facefeature computes a feature of 502 floats from a photograph and the landmarks of a face, and
 * a score from two features. This header is all that a host needs. It is valid C99 and C++, has no
 * macros that change a layout, and can be translated to any language that can call C.
 *
 * A typical host:
 *
 *     FeatureEngine* engine = CreateFeatureEngine();             once; null if the model is missing
 *     ExtractFeature(engine, pixels, w, h, stride, face, a.values);   any number of times
 *     ExtractFeature(engine, pixels2, w2, h2, stride2, face2, b.values);
 *     float score = CompareFeatures(&a, &b);                     needs no engine
 *     DestroyFeatureEngine(engine);                              once
 *
 * The model
 *     303 files in a folder named "~kwplugintmp~" inside the temporary folder. On Windows the
 *     temporary folder is the result of GetTempPathA; elsewhere it is $TMPDIR, or /tmp if TMPDIR
 *     is unset or empty. The library determines it once, when it is loaded, and does not see later
 *     changes: a host that wants another folder sets the variable before it loads the library. The
 *     library never writes to the folder. The files may be deleted once CreateFeatureEngine has
 *     returned.
 *
 * Binding
 *     On Windows the DLL exports no names: bind by ordinal, 1 to 4 in the order of the prototypes
 *     below, or link the import library. ELF has no ordinals: there the library exports the four
 *     names and nothing else.
 *
 *     ordinal  1  CreateFeatureEngine
 *     ordinal  2  ExtractFeature
 *     ordinal  3  CompareFeatures
 *     ordinal  4  DestroyFeatureEngine
 *
 *     The calling convention is the platform's for C (cdecl on 32-bit Windows).
 *
 * Which calls may run at the same time
 *
 *                           Create,  Extract,     Extract,
 *                           Destroy  same engine  other engine  Compare
 *     CreateFeatureEngine     no        no           no           yes
 *     DestroyFeatureEngine    no        no           no           yes
 *     ExtractFeature          no        no           yes          yes
 *     CompareFeatures         yes       yes          yes          yes
 *
 *     The library has no locks; the host must follow this table. The calls may come from different
 *     threads. ExtractFeature uses as many threads as the OpenMP runtime starts by default: the
 *     value that OMP_NUM_THREADS had when the runtime was loaded, or else the number of processors.
 *     It returns when all of them have finished.
 *
 * The same bits
 *     The same input gives the same bits on every processor and operating system, with any number
 *     of threads. This requires the floating-point environment that a process starts with (round to
 *     nearest, denormals kept); a host linked with -ffast-math may have changed it.
 *
 * Forking
 *     CreateFeatureEngine starts no threads, so a host may create an engine, fork, and then extract
 *     and destroy in the children. Fork before the first ExtractFeature and before any OpenMP loop
 *     of the host itself: a child does not inherit the runtime's threads, and an extraction in it
 *     would wait for them forever. (There are no such threads if OpenMP uses only one, or once the
 *     thread that extracted has destroyed the last engine.)
 *
 * Failures
 *     The library writes no log and does not set errno to anything meaningful. It reports a failure
 *     by a null from CreateFeatureEngine, by a feature of NaNs from ExtractFeature, and by the two
 *     lines on standard output that are documented below. If memory runs out, a function throws the
 *     C++ exception std::bad_alloc: CreateFeatureEngine then leaks what it had allocated,
 *     and ExtractFeature has not modified the feature.
 */
#ifndef FACEFEATURE_FACEFEATURE_H
#define FACEFEATURE_FACEFEATURE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The ordinals, for GetProcAddress(module, MAKEINTRESOURCEA(ordinal)). */
enum {
  kOrdinalCreateFeatureEngine = 1,
  kOrdinalExtractFeature = 2,
  kOrdinalCompareFeatures = 3,
  kOrdinalDestroyFeatureEngine = 4
};

/* Number of floats in a feature. */
enum { kFeatureFloats = 502 };

/* The engine. Created and freed by the library; opaque to the host. */
typedef struct FeatureEngine FeatureEngine;

/*
 * A feature: plain data without pointers, in the host's memory and byte order. The host may store
 * and send it as it likes. CompareFeatures multiplies elements 0 to 499 of two faces; element 500
 * is a sum of squares, and element 501 is the Euclidean norm of elements 0 to 499.
 */
typedef struct FeatureVector {
  float values[kFeatureFloats];
} FeatureVector;

/*
 * One landmark, in pixels of the photograph. x runs to the right and y down; the centre of the top
 * left pixel is (0, 0). Fractions are welcome, and points outside the picture are allowed.
 */
typedef struct Landmark {
  int32_t id; /* 0 to 317 */
  float x;
  float y;
} Landmark;

/*
 * The landmarks of one face: a count, a word that is never read, then count entries in any order. A
 * complete record has the 29 ids 0 to 6, 9 to 13, 43, 44, 45, 200, 221 to 223, 225 to 227, 240,
 * 241, 300, 302, 314, 315, 316; docs/landmarks.md describes the position of each on a face. Ids are
 * not checked against that list: any other id from 0 to 317 is treated as one more point at the
 * model's position of id 0, and if it replaces a missing id, the frame moves silently. entries is
 * declared with one element and holds count of them: allocate sizeof(LandmarkSet) + (count - 1) *
 * sizeof(Landmark) bytes. The library reads the record during the call, does not write to it, and
 * does not keep it.
 */
typedef struct LandmarkSet {
  int32_t count;
  uint32_t reserved;
  Landmark entries[1];
} LandmarkSet;

/*
 * Ordinal 1. Reads the model and builds an engine.
 *
 * Returns the engine, which belongs to the caller until DestroyFeatureEngine. Returns null, and
 * prints nothing, if one of the files "0-1-0" to "0-25-0", "6-0", "6-1", "6-2" can't be opened.
 *
 * If a file of weights or biases can't be opened, prints "load PATH failed" and a line end on
 * standard output and still builds the engine. A layer without its biases adds none; without its
 * weights the first ExtractFeature ends the process. Files are not validated otherwise: floats
 * missing at the end of a file are zeros. `facefeature model check` checks a model folder.
 *
 * If a net can't be built (which never happens with the nets that the library contains), prints
 * "Error creating ConvNet: " with the reason and a line end on standard output, and ends the
 * process with exit status 1.
 *
 * Throws std::bad_alloc when memory runs out, also if a file's header asks for too much.
 *
 * Several engines may exist at the same time, for instance one for each thread of the host. Each
 * has its own nets. They share the patch means and the projection, which each creation reads anew,
 * so all of them must be created from the same folder. A creation that fails at "6-0", "6-1" or
 * "6-2" removes the projection from the existing engines: their features are NaNs until a creation
 * succeeds.
 */
FeatureEngine* CreateFeatureEngine(void);

/*
 * Ordinal 2. Computes the feature of one face.
 *
 * engine     from CreateFeatureEngine. Null: feature is left untouched.
 * pixels     the photograph, 8 bits a channel, blue, green, red, first row first; read only.
 *            Borrowed for the call.
 * width,     of the photograph, at least 2 each.
 * height
 * stride     bytes from the start of one row to the start of the next; at least 3 * width. A
 *            negative one walks a bottom-up picture, with pixels at its top row. Not validated.
 * landmarks  the face; borrowed for the call. 25 entries with ids other than 240, 241, 315 and 316.
 * feature    room for 502 floats in the caller's memory, aligned for a float; every one is written.
 *            Null: the call does nothing.
 *
 * The feature is 502 quiet NaNs, and nothing else is touched, if pixels or landmarks is null, width
 * or height is below 2, count is negative, an id is outside 0 to 317, the number of entries other
 * than 240, 241, 315 and 316 is not exactly 25, or there is no projection (see
 * CreateFeatureEngine). Test values[501] with isnan(): it is a number in every valid feature. An
 * engine that was destroyed must not be used.
 *
 * Coordinates are not validated. Landmarks that are NaN, infinite, all equal or of another picture
 * silently produce a meaningless feature.
 *
 * Throws std::bad_alloc when memory runs out before the nets run; after that the process ends.
 */
void ExtractFeature(FeatureEngine* engine, const uint8_t* pixels, int32_t width, int32_t height,
                    int32_t stride, const LandmarkSet* landmarks, float* feature);

/*
 * Ordinal 3. The score of two features: (2 (a . b) - (a[500] + b[500])) / (a[501] b[501]) + 1,
 * higher for more similar faces, with the same bits in either order.
 *
 * It has no fixed range, is not clamped, and is NaN if a feature holds NaNs. Both pointers must be
 * valid and both features must come from the same model; neither is checked. Reads its arguments
 * and nothing else: any thread, any time, no engine needed. Cannot fail.
 */
float CompareFeatures(const FeatureVector* a, const FeatureVector* b);

/*
 * Ordinal 4. Frees an engine. Null is allowed and does nothing.
 *
 * The last engine also frees the model's shared numbers, and ends the worker threads that the
 * OpenMP runtime keeps for the calling thread, including those of the host's own OpenMP loops on
 * this thread. A host that unloads the library destroys its engines first, the last one on the
 * thread that extracted. If several threads extracted, the others must exit first, which ends their
 * workers. On Windows the remaining workers would wait in unmapped code. In a child of a process
 * that had created an engine, workers remain until it exits.
 */
void DestroyFeatureEngine(FeatureEngine* engine);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* Hosts are built against these layouts, and their databases hold features. */
#if defined(__cplusplus) && (__cplusplus >= 201103L || defined(_MSC_VER))
static_assert(sizeof(FeatureVector) == 2008, "a feature is 502 floats and nothing else");
static_assert(sizeof(Landmark) == 12, "entries are packed");
static_assert(offsetof(Landmark, id) == 0, "id comes first");
static_assert(offsetof(Landmark, x) == 4, "x follows id");
static_assert(offsetof(Landmark, y) == 8, "y follows x");
static_assert(offsetof(LandmarkSet, count) == 0, "count comes first");
static_assert(offsetof(LandmarkSet, reserved) == 4, "the reserved word follows count");
static_assert(offsetof(LandmarkSet, entries) == 8, "entries follow the reserved word");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(FeatureVector) == 2008, "a feature is 502 floats and nothing else");
_Static_assert(sizeof(Landmark) == 12, "entries are packed");
_Static_assert(offsetof(Landmark, id) == 0, "id comes first");
_Static_assert(offsetof(Landmark, x) == 4, "x follows id");
_Static_assert(offsetof(Landmark, y) == 8, "y follows x");
_Static_assert(offsetof(LandmarkSet, count) == 0, "count comes first");
_Static_assert(offsetof(LandmarkSet, reserved) == 4, "the reserved word follows count");
_Static_assert(offsetof(LandmarkSet, entries) == 8, "entries follow the reserved word");
#endif

#endif /* FACEFEATURE_FACEFEATURE_H */
