#include "batch/worker_pool.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <stdexcept>
#include <vector>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

constexpr std::chrono::milliseconds kPollInterval(100);

// The jobs that a worker has at a time. None before it is ready.
struct Share {
  std::vector<size_t> jobs;
  std::vector<bool> hasEnded;  // for each of them
  size_t unfinished = 0;
};

class Pool {
 public:
  Pool(const WorkerCommand& command, size_t workers, size_t mostAtOnce, JobBoard& board)
      : command_(command),
        board_(board),
        mostAtOnce_(mostAtOnce),
        workers_(workers),
        shares_(workers) {}

  void run() {
    for (auto& worker : workers_) worker = std::make_unique<WorkerProcess>(command_);
    while (ended_ < board_.jobs() && board_.shouldContinue()) {
      if (const auto event = waitForWorkers(workers_, kPollInterval)) take(*event);
    }
  }

 private:
  void take(const WorkerEvent& event) {
    if (event.ended) {
      replace(event.worker, event.message);
      return;
    }
    const WorkerReply reply = decodeReply(event.message);
    Share& share = shares_[event.worker];
    if (share.jobs.empty()) {
      if (reply.kind != WorkerReplyKind::kReady) {
        throw Failure(static_cast<ExitCode>(reply.code), std::runtime_error(reply.text));
      }
    } else {
      if (reply.request >= share.jobs.size() || share.hasEnded[reply.request]) {
        throw std::runtime_error("a worker answered what it was not asked");
      }
      share.hasEnded[reply.request] = true;
      --share.unfinished;
      ++ended_;
      board_.answered(share.jobs[reply.request], reply);
    }
    if (share.unfinished == 0) sendNext(event.worker);
  }

  bool hasWork() const { return !repeated_.empty() || next_ < board_.jobs(); }

  // The jobs to give to a worker now. Each share is at most half of a fair part of what is left, so
  // that the workers finish at about the same time.
  std::vector<size_t> nextJobs() {
    if (!repeated_.empty()) {
      const size_t job = repeated_.front();
      repeated_.pop_front();
      return {job};
    }
    const size_t fair = (board_.jobs() - next_) / (2 * workers_.size());
    std::vector<size_t> jobs;
    for (size_t left = std::clamp<size_t>(fair, 1, mostAtOnce_); left > 0; --left) {
      jobs.push_back(next_++);
    }
    return jobs;
  }

  void sendNext(size_t worker) {
    Share& share = shares_[worker];
    share = {};
    if (!hasWork()) {
      // Frees its memory for those that still work.
      workers_[worker].reset();
      return;
    }
    share.jobs = nextJobs();
    share.hasEnded.assign(share.jobs.size(), false);
    share.unfinished = share.jobs.size();
    std::vector<WorkerRequest> requests;
    for (const size_t job : share.jobs) requests.push_back(board_.request(job));
    workers_[worker]->send(encodeRequests(requests));
  }

  void replace(size_t worker, const std::string& how) {
    Share& share = shares_[worker];
    if (share.jobs.empty()) {
      throw Failure(kFailed, "a worker process", how + " while it opened the model",
                    "Check the model with \"facefeature model check\", and the free memory");
    }
    for (size_t i = 0; i < share.jobs.size(); ++i) {
      if (share.hasEnded[i]) continue;
      if (share.unfinished > 1) {
        repeated_.push_back(share.jobs[i]);
      } else {
        ++ended_;
        board_.lost(share.jobs[i], "the worker " + how);
      }
    }
    share = {};
    workers_[worker].reset();
    if (hasWork()) workers_[worker] = std::make_unique<WorkerProcess>(command_);
  }

  const WorkerCommand& command_;
  JobBoard& board_;
  const size_t mostAtOnce_;
  std::vector<std::unique_ptr<WorkerProcess>> workers_;
  std::vector<Share> shares_;    // of each worker
  std::deque<size_t> repeated_;  // jobs of lost workers, to be run alone
  size_t next_ = 0;              // the first job that has never been given to a worker
  size_t ended_ = 0;
};

}  // namespace

void runJobs(const WorkerCommand& command, size_t workers, size_t share, JobBoard& board) {
  Pool(command, std::min(workers, board.jobs()), share, board).run();
}

}  // namespace facefeature_tools
