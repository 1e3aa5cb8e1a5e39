// Distributes jobs over worker processes, and replaces workers that are lost.
#ifndef FACEFEATURE_TOOLS_BATCH_WORKER_POOL_H
#define FACEFEATURE_TOOLS_BATCH_WORKER_POOL_H

#include <cstddef>
#include <string>

#include "batch/worker_messages.h"
#include "batch/worker_process.h"

namespace facefeature_tools {

// The jobs and their outcomes. All calls come from within runJobs().
class JobBoard {
 public:
  virtual ~JobBoard() = default;

  // Jobs are numbered from 0 up to this, exclusive.
  virtual size_t jobs() const = 0;
  virtual WorkerRequest request(size_t job) const = 0;

  // Each job ends with one of these, in any order.
  virtual void answered(size_t job, const WorkerReply& reply) = 0;
  virtual void lost(size_t job, const std::string& how) = 0;  // "the worker was ended by ..."

  // Called several times a second. Once it returns false, the remaining jobs are not started.
  virtual bool shouldContinue() = 0;
};

// Runs all jobs on at most this many workers, which get at most `share` jobs at a time, and fewer
// when few are left. If a worker is lost with several unfinished jobs, each of these is run again
// alone; a job is lost if it is the only unfinished one of a lost worker. So the outcomes do not
// depend on the share.
//
// Throws Failure if a worker can't be started or can't open its model. The running workers are then
// terminated, as they are when shouldContinue() returns false.
void runJobs(const WorkerCommand& command, size_t workers, size_t share, JobBoard& board);

}  // namespace facefeature_tools

#endif
