/*
 * The three routines of CBLAS, each handed to the kind of processor that was chosen when this code
 * was loaded. All kinds are in one archive, with a suffix at each of their symbols.
 */
#include "cblas_cores.h"

#include <cblas.h>
#include <stddef.h>
#include <string.h>

#define DECLARE_CORE(suffix)                                                                       \
  void cblas_sgemm_##suffix(enum CBLAS_ORDER, enum CBLAS_TRANSPOSE, enum CBLAS_TRANSPOSE, blasint, \
                            blasint, blasint, float, const float*, blasint, const float*, blasint, \
                            float, float*, blasint);                                               \
  void cblas_saxpy_##suffix(blasint, float, const float*, blasint, float*, blasint);               \
  void cblas_sscal_##suffix(blasint, float, float*, blasint);                                      \
  int openblas_get_parallel_##suffix(void);                                                        \
  char* openblas_get_config_##suffix(void);                                                        \
  void gotoblas_init_##suffix(void);                                                               \
  void gotoblas_quit_##suffix(void);                                                               \
  static int runs_##suffix(void)

#define CORE(name, suffix)                                                                    \
  {                                                                                           \
    name, runs_##suffix, cblas_sgemm_##suffix, cblas_saxpy_##suffix, cblas_sscal_##suffix,    \
        openblas_get_parallel_##suffix, openblas_get_config_##suffix, gotoblas_init_##suffix, \
        gotoblas_quit_##suffix                                                                \
  }

DECLARE_CORE(skylakex);
DECLARE_CORE(haswell);
DECLARE_CORE(nehalem);

typedef struct Core {
  const char* name;
  int (*runsHere)(void);
  void (*sgemm)(enum CBLAS_ORDER, enum CBLAS_TRANSPOSE, enum CBLAS_TRANSPOSE, blasint, blasint,
                blasint, float, const float*, blasint, const float*, blasint, float, float*,
                blasint);
  void (*saxpy)(blasint, float, const float*, blasint, float*, blasint);
  void (*sscal)(blasint, float, float*, blasint);
  int (*parallel)(void);
  char* (*config)(void);
  void (*init)(void);
  void (*quit)(void);
} Core;

/* The compiler's question includes whether the system saves the wide registers. */
static int runs_skylakex(void) {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512cd") && runs_haswell();
}

static int runs_haswell(void) {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

/* The least that there is: a processor with less can't run this library's products at all. */
static int runs_nehalem(void) { return 1; }

/* The best one first. */
static const Core kCores[] = {CORE("SkylakeX", skylakex), CORE("Haswell", haswell),
                              CORE("Nehalem", nehalem)};
enum { kCoreCount = sizeof kCores / sizeof kCores[0] };

static const Core* core;

static void use(const Core* chosen) {
  if (core != NULL) core->quit();
  core = chosen;
  core->init();
}

/* Ahead of every ordinary initialiser. */
__attribute__((constructor(101))) static void chooseCore(void) {
  int i = 0;
  __builtin_cpu_init();
  while (i < kCoreCount - 1 && !kCores[i].runsHere()) ++i;
  use(&kCores[i]);
}

__attribute__((destructor(101))) static void leaveCore(void) { core->quit(); }

int cblasUseCore(const char* name) {
  int i;
  for (i = 0; i < kCoreCount; ++i) {
    if (strcmp(kCores[i].name, name) != 0) continue;
    if (!kCores[i].runsHere()) return 0;
    use(&kCores[i]);
    return 1;
  }
  return 0;
}

const char* cblasCoreInUse(void) { return core->name; }

int openblas_get_parallel(void) { return core->parallel(); }
char* openblas_get_config(void) { return core->config(); }

void cblas_sgemm(OPENBLAS_CONST enum CBLAS_ORDER order, OPENBLAS_CONST enum CBLAS_TRANSPOSE transA,
                 OPENBLAS_CONST enum CBLAS_TRANSPOSE transB, OPENBLAS_CONST blasint m,
                 OPENBLAS_CONST blasint n, OPENBLAS_CONST blasint k, OPENBLAS_CONST float alpha,
                 OPENBLAS_CONST float* a, OPENBLAS_CONST blasint lda, OPENBLAS_CONST float* b,
                 OPENBLAS_CONST blasint ldb, OPENBLAS_CONST float beta, float* c,
                 OPENBLAS_CONST blasint ldc) {
  core->sgemm(order, transA, transB, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

void cblas_saxpy(OPENBLAS_CONST blasint n, OPENBLAS_CONST float alpha, OPENBLAS_CONST float* x,
                 OPENBLAS_CONST blasint incX, float* y, OPENBLAS_CONST blasint incY) {
  core->saxpy(n, alpha, x, incX, y, incY);
}

void cblas_sscal(OPENBLAS_CONST blasint n, OPENBLAS_CONST float alpha, float* x,
                 OPENBLAS_CONST blasint incX) {
  core->sscal(n, alpha, x, incX);
}
