/* Which kind of processor the products of matrices are computed for. */
#ifndef FACEFEATURE_TOOLS_WINDOWS_CBLAS_CORES_H
#define FACEFEATURE_TOOLS_WINDOWS_CBLAS_CORES_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * For tests and for comparisons between machines: changes to "Nehalem", "Haswell" or "SkylakeX" in
 * place of the kind that was chosen at load. Returns 0, and changes nothing, for another name and
 * for a kind that this processor can't run. Nothing may compute meanwhile.
 */
int cblasUseCore(const char* name);

/* The name of the kind in use. */
const char* cblasCoreInUse(void);

#ifdef __cplusplus
}
#endif

#endif
