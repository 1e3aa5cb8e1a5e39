#include "batch/worker_pool.h"

#include <algorithm>
#include <optional>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

constexpr std::chrono::milliseconds kPatience(100);

class Pool {
 public:
  Pool(const WorkerCommand& command, size_t workers, JobBoard& board)
      : command_(command), board_(board), workers_(workers), jobs_(workers) {}

  void run() {
    for (auto& worker : workers_) worker = std::make_unique<WorkerProcess>(command_);
    while (ended_ < board_.jobs() && board_.goOn()) {
      if (const auto event = waitForWorkers(workers_, kPatience)) take(*event);
    }
  }

 private:
  void take(const WorkerEvent& event) {
    if (event.ended) {
      replace(event.worker, event.message);
      return;
    }
    const WorkerReply reply = decodeReply(event.message);
    std::optional<size_t>& job = jobs_[event.worker];
    if (job) {
      ++ended_;
      board_.answered(*job, reply);
    } else if (reply.kind != WorkerReplyKind::kReady) {
      throw Failure(static_cast<ExitCode>(reply.code), std::runtime_error(reply.text));
    }
    giveNext(event.worker);
  }

  void giveNext(size_t worker) {
    jobs_[worker].reset();
    if (next_ == board_.jobs()) {
      // Frees its memory for those that still work.
      workers_[worker].reset();
      return;
    }
    jobs_[worker] = next_;
    workers_[worker]->send(encodeRequest(board_.request(next_)));
    ++next_;
  }

  void replace(size_t worker, const std::string& how) {
    if (!jobs_[worker]) {
      throw Failure(kFailed, "a worker process", how + " while it opened the model",
                    "Check the model with \"facefeature model check\", and the memory");
    }
    ++ended_;
    board_.lost(*jobs_[worker], "the worker " + how);
    jobs_[worker].reset();
    workers_[worker].reset();
    if (next_ < board_.jobs()) workers_[worker] = std::make_unique<WorkerProcess>(command_);
  }

  const WorkerCommand& command_;
  JobBoard& board_;
  std::vector<std::unique_ptr<WorkerProcess>> workers_;
  std::vector<std::optional<size_t>> jobs_;  // the current job of each; none before it is ready
  size_t next_ = 0;                          // the first job that is not assigned yet
  size_t ended_ = 0;
};

}  // namespace

void runJobs(const WorkerCommand& command, size_t workers, JobBoard& board) {
  Pool(command, std::min(workers, board.jobs()), board).run();
}

}  // namespace facefeature_tools
