// Jobs spread over worker processes, and a new worker for each that is lost.
#ifndef FACEFEATURE_TOOLS_BATCH_WORKER_POOL_H
#define FACEFEATURE_TOOLS_BATCH_WORKER_POOL_H

#include <cstddef>
#include <string>

#include "batch/worker_messages.h"
#include "batch/worker_process.h"

namespace facefeature_tools {

// The jobs, and what becomes of them. All calls come from within runJobs().
class JobBoard {
 public:
  virtual ~JobBoard() = default;

  // Jobs have the numbers from 0 to below this.
  virtual size_t jobs() const = 0;
  virtual WorkerRequest request(size_t job) const = 0;

  // Each job ends with one of these, in any order.
  virtual void answered(size_t job, const WorkerReply& reply) = 0;
  virtual void lost(size_t job, const std::string& how) = 0;  // "the worker was ended by ..."

  // Asked several times a second. When it says no, the jobs that are not done are left.
  virtual bool goOn() = 0;
};

// Runs all jobs, on that many workers at most. Throws Failure when a worker can't be started or
// can't open its model; workers that stand are ended then, as they are when goOn() says no.
void runJobs(const WorkerCommand& command, size_t workers, JobBoard& board);

}  // namespace facefeature_tools

#endif
