#include <seccomp.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "base/failure.h"
#include "service/worker_sandbox.h"

namespace facefeature_tools {
namespace {

// Messages; memory; locks, time and scheduling, which the OpenMP runtime uses; the signals of
// abort(), which the parent reports; the exit.
constexpr int kAllowed[] = {
    SCMP_SYS(read),           SCMP_SYS(write),         SCMP_SYS(recvfrom),
    SCMP_SYS(sendto),         SCMP_SYS(close),         SCMP_SYS(brk),
    SCMP_SYS(munmap),         SCMP_SYS(mremap),        SCMP_SYS(madvise),
    SCMP_SYS(futex),          SCMP_SYS(clock_gettime), SCMP_SYS(clock_nanosleep),
    SCMP_SYS(getrandom),      SCMP_SYS(sched_yield),   SCMP_SYS(sched_getaffinity),
    SCMP_SYS(getpid),         SCMP_SYS(gettid),        SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn),  SCMP_SYS(restart_syscall),
    SCMP_SYS(exit),           SCMP_SYS(exit_group)};

// Memory that is not executable.
constexpr int kAllowedWithoutCode[] = {SCMP_SYS(mmap), SCMP_SYS(mprotect)};

// These fail. The C library inspects standard output before the first line and does without the
// answer.
constexpr int kRefused[] = {SCMP_SYS(fstat), SCMP_SYS(newfstatat)};

void require(int result) {
  if (result == 0) return;
  throw Failure(kFailed, "the sandbox of a worker", "is refused: " + systemMessage(-result),
                "Use --no-sandbox if this machine offers none");
}

}  // namespace

bool hasSandbox() { return true; }

void enterSandbox() {
  const std::unique_ptr<void, void (*)(void*)> filter(seccomp_init(SCMP_ACT_KILL_PROCESS),
                                                      seccomp_release);
  if (!filter) require(-ENOMEM);
  for (const int call : kAllowed) {
    require(seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0));
  }
  for (const int call : kAllowedWithoutCode) {
    require(seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 1,
                             SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)));
  }
  for (const int call : kRefused) {
    require(seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), call, 0));
  }
  // abort() signals its own thread. Other processes are out of reach.
  const auto self = static_cast<scmp_datum_t>(getpid());
  require(seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, SCMP_SYS(tgkill), 1,
                           SCMP_A0(SCMP_CMP_EQ, self)));
  require(seccomp_load(filter.get()));
}

}  // namespace facefeature_tools
