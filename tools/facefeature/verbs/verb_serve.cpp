#include "verbs/verb_serve.h"

#include <cstdint>
#include <memory>
#include <string>

#include "model/default_model.h"
#include "verbs/face_options.h"
#include "verbs/option_checks.h"
#include "verbs/serve.h"

namespace facefeature_tools {
namespace {

void addNumber(Options& options, const std::string& name, uint64_t& target,
               const std::string& help) {
  options.add(name, target, help).check(negativeFault).showDefault();
}

VerbRun define(Options& options) {
  auto request = std::make_shared<ServeRequest>();
  options.add("--socket", request->socket, "Path of the socket, which appears when it is ready")
      .required()
      .valueName("PATH");
  options.add("--model", request->model, kModelFolderHelp).valueName("DIR");
  addExif(options, request->exif);
  addNumber(options, "--workers", request->workers,
            "Worker processes, each with one engine. 0: one for each processor");
  addNumber(options, "--connections", request->connections,
            "Maximum number of connections at the same time");
  addNumber(options, "--photo-mb", request->photoMegabytes,
            "Maximum size of the body of a request in megabytes");
  addNumber(options, "--rate", request->rate,
            "Maximum extractions a second of one connection. 0: no limit");
  addNumber(options, "--seconds", request->seconds, "Maximum duration of an extraction");
  addNumber(options, "--transfer-seconds", request->transferSeconds,
            "Maximum time in which a request arrives or a reply is read");
  addNumber(options, "--memory-mb", request->memoryMegabytes,
            "Maximum address space of a worker in megabytes. 0: no limit");
  options.addFlag("--no-sandbox", request->noSandbox,
                  "Let workers use all system calls, on a machine without seccomp");
  return [request] { return runServe(*request); };
}

}  // namespace

const Verb kServeVerb = {"serve", "Make features and scores for other programs, at a local socket",
                         define};

}  // namespace facefeature_tools
