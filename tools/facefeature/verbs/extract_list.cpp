#include "verbs/extract_list.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>

#include "base/output_file.h"
#include "batch/ending_signals.h"
#include "batch/extract_journal.h"
#include "batch/extract_report.h"
#include "batch/worker_pool.h"
#include "face/face_input.h"
#include "gallery/gallery_file.h"
#include "model/default_model.h"
#include "model/model_fingerprint.h"
#include "model/model_link.h"
#include "model/model_session.h"
#include "verbs/verb_extract.h"
#include "verbs/verb_extract_worker.h"

namespace facefeature_tools {
namespace {

// The files of the unfinished gallery and of the journal of an interrupted run.
std::string journalPath(const std::string& gallery) { return gallery + ".journal"; }
std::string unfinishedPath(const std::string& gallery) { return gallery + ".unfinished"; }

// The entries that are not done yet, as jobs.
class ListBoard : public JobBoard {
 public:
  ListBoard(const std::vector<PhotoEntry>& entries, ExtractJournal& journal, ExtractReport& report,
            ProgressFormat format)
      : entries_(entries),
        journal_(journal),
        report_(report),
        progress_(format, kExtractVerb.name, entries.size(), doneBefore()) {}

  size_t jobs() const override { return pending_.size(); }

  WorkerRequest request(size_t job) const override {
    const PhotoEntry& entry = entries_[pending_[job]];
    return {entry.photo, entry.landmarks};
  }

  void answered(size_t job, const WorkerReply& reply) override {
    const size_t index = pending_[job];
    const PhotoEntry& entry = entries_[index];
    for (const std::string& warning : reply.warnings) {
      progress_.warned(entry.id, warning);
      report_.add({index, "warning", warning});
    }
    if (reply.kind == WorkerReplyKind::kFeature) {
      journal_.add(entry.id, reply.feature);
      progress_.succeeded();
    } else {
      fail(index, reply.text);
    }
  }

  void lost(size_t job, const std::string& how) override {
    const size_t index = pending_[job];
    fail(index, entries_[index].photo + ": " + how + " on this photograph.");
  }

  bool shouldContinue() override {
    progress_.tick();
    return EndingSignals::caught() == 0;
  }

  Progress& progress() { return progress_; }

 private:
  // Also fills pending_.
  size_t doneBefore() {
    for (size_t index = 0; index < entries_.size(); ++index) {
      if (!journal_.holds(entries_[index].id)) pending_.push_back(index);
    }
    return entries_.size() - pending_.size();
  }

  void fail(size_t index, const std::string& text) {
    progress_.failed(entries_[index].id, text);
    report_.add({index, "failed", text});
  }

  const std::vector<PhotoEntry>& entries_;
  ExtractJournal& journal_;
  ExtractReport& report_;
  std::vector<size_t> pending_;  // declared before progress_, which needs their number
  Progress progress_;
};

// The gallery of an earlier run, or null. Throws Failure (kBadModel) if it is of another model.
// Called before the journal is created, which would otherwise exist for a run that never started.
std::unique_ptr<Gallery> earlierGallery(const std::string& path, const GalleryOrigin& own) {
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return nullptr;
  auto gallery = std::make_unique<Gallery>(path);
  if (gallery->origin().model != own.model) {
    throw Failure(kBadModel, path,
                  "was made with the model " + hexText(gallery->origin().model) + ", not of " +
                      hexText(own.model),
                  "Use the model that it was made with, or name another gallery");
  }
  return gallery;
}

// Marks the photographs that an earlier run finished. Those that failed in it or are new remain.
void takeOver(const Gallery& gallery, const std::vector<PhotoEntry>& entries,
              ExtractJournal& journal) {
  journal.joinOrigin(gallery.origin());
  std::unordered_map<std::string_view, size_t> rows;
  for (size_t row = 0; row < gallery.count(); ++row) rows[gallery.id(row)] = row;
  for (const PhotoEntry& entry : entries) {
    const auto found = rows.find(entry.id);
    if (found == rows.end() || journal.holds(entry.id)) continue;
    journal.add(entry.id, gallery.feature(found->second));
  }
}

// The number of processors that this process may use, or less if the environment says so.
unsigned threadsInAll() {
  const char* text = std::getenv("OMP_NUM_THREADS");
  const long told = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
  if (told > 0) return static_cast<unsigned>(std::min(told, 4096L));
  return std::max(1u, std::thread::hardware_concurrency());
}

void extractPending(const ExtractListRequest& request, const std::string& model, ListBoard& board) {
  const unsigned threads = threadsInAll();
  const size_t wanted = request.jobs > 0 ? request.jobs : threads;
  const unsigned jobs = static_cast<unsigned>(std::max<size_t>(1, std::min(wanted, board.jobs())));
  WorkerCommand command;
  command.arguments = {kExtractWorkerVerb.name, kExifOption, exifRuleName(request.exif)};
  if (request.face != 0) {
    command.arguments.insert(command.arguments.end(), {kFaceOption, std::to_string(request.face)});
  }
  command.threads = std::max(1u, threads / jobs);
  // Workers find the model through the environment. The link exists until all of them have started.
  std::optional<ModelLink> link;
  if (model != libraryModelFolder()) link.emplace(model);
  const EndingSignals signals;
  runJobs(command, jobs, request.batch, board);
}

std::string counted(size_t number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string summary(const ProgressCounts& counts, const std::string& gallery) {
  return gallery + ": " + counted(counts.before + counts.done - counts.failed, "feature") + ", " +
         counted(counts.failed, "photograph") + " failed.";
}

std::vector<std::string> idsOf(const std::vector<PhotoEntry>& entries) {
  std::vector<std::string> ids;
  for (const PhotoEntry& entry : entries) ids.push_back(entry.id);
  return ids;
}

}  // namespace

ExitCode runExtractList(const ExtractListRequest& request) {
  requireExif(request.exif);
  const std::vector<PhotoEntry> entries = shardOf(readPhotoList(request.list), request.shard);
  const std::string model = chosenModelFolder(request.model);
  requireModel(model);
  if (entries.empty())
    say(kExtractVerb.name, request.list + ": warning: there is no photograph in it.");
  const GalleryOrigin origin = ownOrigin(modelFingerprint(model));
  const auto earlier = request.resume ? earlierGallery(request.gallery, origin) : nullptr;
  // An unwritable report is an error before the work starts. An existing one is kept until the end.
  if (!request.report.empty()) OutputFile{request.report};
  ExtractJournal journal(journalPath(request.gallery), origin, request.resume);
  if (earlier) takeOver(*earlier, entries, journal);

  ExtractReport report(entries);
  if (request.resume && !request.report.empty()) report.addEarlier(request.report, journal);
  ListBoard board(entries, journal, report, request.progress);
  extractPending(request, model, board);
  if (!request.report.empty()) report.write(request.report);

  const ProgressCounts& counts = board.progress().counts();
  const int signalNumber = EndingSignals::caught();
  if (signalNumber != 0 && counts.before + counts.done < entries.size()) {
    const std::string unfinished = unfinishedPath(request.gallery);
    journal.writeGallery(unfinished, idsOf(entries));
    board.progress().end("interrupted. " + summary(counts, unfinished) +
                         " The same command with --resume does the rest.");
    endBySignal(signalNumber);
  }
  journal.writeGallery(request.gallery, idsOf(entries));
  journal.remove();
  std::error_code ignored;
  std::filesystem::remove(unfinishedPath(request.gallery), ignored);
  board.progress().end(summary(counts, request.gallery));
  return counts.failed == 0 ? kDone : kBadInput;
}

}  // namespace facefeature_tools
