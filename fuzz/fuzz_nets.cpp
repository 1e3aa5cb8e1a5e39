// Checks that every net either runs or fails in one of the documented ways, and behaves the same
// with all kernel sets. Input: any bytes. They describe a text with all twelve types of layer, its
// weight files and its data (net_generator.h), or they are the text themselves. Texts whose data
// layer owns its output are skipped, because such a layer frees a matrix of its caller.
//
// A construction and a run may end only by returning, by std::out_of_range, by std::bad_alloc or
// with a data layer's message; or, exactly if the text has an unknown keyword, with the documented
// line and exit status. After a run, all outputs of all layers must have the same bits with each
// set, whatever the memory contained before, and again after a second run on other numbers.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <omp.h>

#include "bounded_memory.h"
#include "config/net_documents.h"
#include "fuzz_input.h"
#include "kernels/kernel_set.h"
#include "net/conv_net.h"
#include "net_generator.h"
#include "same_results.h"
#include "support/model_folder.h"
#include "support/scoped_kernels.h"
#include "text_oracle.h"
#include "written_file.h"

namespace {

using facefeature::ConvNet;
using facefeature::KernelSet;
using facefeature::Matrix;
using facefeature_fuzz::fail;
using facefeature_fuzz::GeneratedMatrix;
using facefeature_fuzz::GeneratedNet;
using facefeature_fuzz::Input;
using facefeature_fuzz::MemoryScope;

// Large enough for every net whose layers fit together, and small enough to keep loops over two of
// its arrays short.
constexpr size_t kMaxBytes = size_t{1} << 16;

enum class Ending { kDone, kOutOfRange, kOutOfMemory, kText };

Ending endingOf(const std::function<void()>& work) {
  try {
    work();
    return Ending::kDone;
  } catch (const std::out_of_range&) {
    return Ending::kOutOfRange;
  } catch (const std::bad_alloc&) {
    return Ending::kOutOfMemory;
  } catch (const std::string& text) {
    if (text != "No data given!") fail("a thrown text", 0);
    return Ending::kText;
  }
}

struct Output {
  bool exists;
  int32_t rows, cols, size, order;
  std::vector<float> values;
};

Output outputOf(const Matrix* matrix) {
  if (matrix == nullptr) return {false, 0, 0, 0, 0, {}};
  const size_t count = static_cast<size_t>(std::max(matrix->size, 0));
  Output output = {true, matrix->rows, matrix->cols, matrix->size, matrix->order, {}};
  if (count > 0) output.values.assign(matrix->buffer, matrix->buffer + count);
  return output;
}

struct Outcome {
  Ending construction;
  std::vector<Ending> runs;
  std::vector<Output> outputs;  // of all layers and of all data, run by run
};

std::vector<std::unique_ptr<Matrix>> dataOf(const GeneratedNet& made, size_t run) {
  std::vector<std::unique_ptr<Matrix>> data;
  for (const GeneratedMatrix& matrix : made.data) {
    data.push_back(std::make_unique<Matrix>(matrix.rows, matrix.cols));
    for (size_t i = 0; i < matrix.values.size(); ++i) {
      data.back()->buffer[i] = matrix.values[(i + run) % matrix.values.size()];
    }
  }
  return data;
}

Outcome runWith(const KernelSet& set, const GeneratedNet& made) {
  constexpr size_t kRuns = 2;
  const facefeature_test::ScopedKernels active(set);
  Outcome outcome = {Ending::kDone, {}, {}};
  // A layer may use the data of an earlier run until it runs again.
  std::vector<std::unique_ptr<Matrix>> data[kRuns];
  std::unique_ptr<ConvNet> net;
  outcome.construction = endingOf([&] { net = std::make_unique<ConvNet>(0, made.text.c_str()); });
  for (size_t run = 0; run < kRuns && net != nullptr; ++run) {
    data[run] = dataOf(made, run);
    std::vector<Matrix*> inputs;
    for (const auto& matrix : data[run]) inputs.push_back(matrix.get());
    outcome.runs.push_back(endingOf([&] { net->forward(inputs); }));
    // The result of a run that throws is undefined and must not be read.
    if (outcome.runs.back() != Ending::kDone) break;
    for (facefeature::Layer* layer : net->layers) {
      outcome.outputs.push_back(outputOf(layer->getActivations()));
    }
    for (const Matrix* matrix : inputs) outcome.outputs.push_back(outputOf(matrix));
  }
  return outcome;
}

void requireSame(const Outcome& wanted, const Outcome& got) {
  if (wanted.construction != got.construction) fail("the ending of a construction", 0);
  if (wanted.runs != got.runs) fail("the ending of a run", 0);
  if (wanted.outputs.size() != got.outputs.size()) fail("the number of outputs", 0);
  for (size_t i = 0; i < wanted.outputs.size(); ++i) {
    const Output& a = wanted.outputs[i];
    const Output& b = got.outputs[i];
    const bool isSameShape = a.exists == b.exists && a.rows == b.rows && a.cols == b.cols &&
                             a.size == b.size && a.order == b.order;
    if (!isSameShape) fail("the shape of an output", i);
    facefeature_fuzz::requireSameFloats("an output", a.values.data(), b.values.data(),
                                        a.values.size());
  }
}

// In a child process, because it calls exit(). The library's exit() is caught here before the
// fuzzing engine's own handler, which would report it as a crash.
[[noreturn]] void endChild(int status, void* /*unused*/) {
  std::fflush(stdout);
  // Some OpenMP runtimes create a file for the child, which would otherwise be left behind.
  omp_pause_resource_all(omp_pause_hard);
  _exit(status);
}

[[noreturn]] void constructInChild(const GeneratedNet& made, int output) {
  dup2(output, STDOUT_FILENO);
  on_exit(endChild, nullptr);
  const Ending ending = endingOf([&] { new ConvNet(0, made.text.c_str()); });
  endChild(ending == Ending::kDone ? 100 : 101, nullptr);
}

std::string everythingFrom(int source) {
  std::string text;
  char bytes[4096];
  for (ssize_t count; (count = read(source, bytes, sizeof bytes)) > 0;) {
    text.append(bytes, static_cast<size_t>(count));
  }
  return text;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// The construction prints the line and exits with status 1, unless it has thrown an exception
// before.
void checkFatalText(const GeneratedNet& made, const std::string& reason) {
  int ends[2];
  std::fflush(stdout);
  if (pipe(ends) != 0) fail("a pipe", 0);
  const pid_t child = fork();
  if (child < 0) fail("a child", 0);
  if (child == 0) constructInChild(made, ends[1]);
  close(ends[1]);
  const std::string printed = everythingFrom(ends[0]);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status)) fail("a child that was killed", 0);
  if (WEXITSTATUS(status) == 101) return;
  if (WEXITSTATUS(status) != 1) fail("the status of a fatal text", 0);
  if (!endsWith(printed, "Error creating ConvNet: " + reason + "\n")) fail("a fatal line", 0);
}

// Makes these files the only ones in the folder.
void putFiles(const GeneratedNet& made) {
  static const std::string folder = facefeature_test::modelFolder() + "/";
  static std::vector<std::string> existing;
  static const bool folderStands = std::filesystem::create_directories(folder);
  if (!folderStands) fail("the folder", 0);
  for (const std::string& name : existing) std::filesystem::remove(folder + name);
  existing.clear();
  for (const facefeature_fuzz::GeneratedFile& file : made.files) {
    if (!file.exists) continue;
    facefeature_fuzz::writeFile(folder + file.name, file.bytes.data(), file.bytes.size());
    existing.push_back(file.name);
  }
}

void checkNet(const GeneratedNet& made) {
  const facefeature_fuzz::TextOracle oracle(made.text);
  if (oracle.hasDataLayerWithAnOutput()) return;
  putFiles(made);
  MemoryScope memory(kMaxBytes, 0x3F);
  if (!oracle.fatalReason().empty()) {
    checkFatalText(made, oracle.fatalReason());
    return;
  }
  const Outcome wanted = runWith(facefeature::plainKernels(), made);
  memory.fillWith(0xBE);
  for (const KernelSet* set : facefeature_test::runnableKernelSets()) {
    if (set != &facefeature::plainKernels()) requireSame(wanted, runWith(*set, made));
  }
  memory.fillWith(0x00);
  requireSame(wanted, runWith(*facefeature::activeKernels, made));
  facefeature::netDocuments[0].clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // With one thread, so that a forked child has no worker threads to wait for.
  omp_set_num_threads(1);
  if (size > 0 && data[0] == '[') {
    checkNet(facefeature_fuzz::netOfText(std::string(data, data + size)));
    return 0;
  }
  Input input(data, size);
  checkNet(facefeature_fuzz::NetGenerator(input).make());
  return 0;
}
