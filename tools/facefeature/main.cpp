// The host program: its verbs, and nothing else. What a verb does stands in verb_<name>.cpp.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "base/failure.h"
#include "face/face_finder.h"
#include "model/default_model.h"
#include "verbs/command_extract_list.h"
#include "verbs/command_face.h"
#include "verbs/command_gallery.h"
#include "verbs/verb_compare.h"
#include "verbs/verb_draw.h"
#include "verbs/verb_extract.h"
#include "verbs/verb_landmarks.h"
#include "verbs/verb_model_check.h"
#include "verbs/verb_model_synth.h"

namespace {

using namespace facefeature_tools;

// A minus sign would be taken for a number near the upper end.
std::string notNegative(const std::string& text) {
  return text.empty() || text.front() != '-' ? "" : text + " is not a whole number from 0";
}

std::string pngName(const std::string& path) {
  return std::filesystem::path(path).extension() == ".png" ? "" : path + " does not end in .png";
}

// Where no detector was built in, landmarks can only come from a file.
void addLandmarks(CLI::App& verb, std::string& landmarks) {
  verb.add_option("LANDMARKS", landmarks,
                  facesCanBeFound() ? "JSON file with its landmarks; without it, they are found"
                                    : "JSON file with its landmarks")
      ->required(!facesCanBeFound());
}

struct Verbs {
  CLI::App app{
      "Makes features of faces and compares them.\n"
      "Data goes to standard output, words to standard error. Exit codes: 0 done, 1 failed\n"
      "otherwise (with --threshold: the score is below it), 2 wrong usage, 3 an input could\n"
      "not be read or is malformed, 4 the model is missing or incomplete, or features are of\n"
      "different models, 5 no answer from compare --threshold.",
      "facefeature"};
  CLI::App* model = nullptr;
  CLI::App* modelSynth = nullptr;
  CLI::App* modelCheck = nullptr;
  CLI::App* extract = nullptr;
  CLI::App* compare = nullptr;
  CLI::App* landmarks = nullptr;
  CLI::App* draw = nullptr;

  ModelSynthRequest modelSynthRequest;
  ModelCheckRequest modelCheckRequest;
  ExtractRequest extractRequest;
  CompareRequest compareRequest;
  LandmarksRequest landmarksRequest;
  DrawRequest drawRequest;
  std::optional<ExtractListCommand> extractList;
  std::optional<GalleryCommands> gallery;

  Verbs() {
    // A path that begins with a slash is no option, on Windows neither.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "facefeature " FACEFEATURE_VERSION);
    app.require_subcommand(1);

    model = app.add_subcommand("model", "Make or check a folder of model files");
    model->require_subcommand(1);
    modelSynth = model->add_subcommand(
        "synth",
        "Write a model of random numbers for tests; it is NOT trained and recognises nobody");
    modelSynth->add_option("DIR", modelSynthRequest.folder, "Folder for the 303 files")->required();
    modelSynth->add_option("--seed", modelSynthRequest.seed, "Same seed, same bytes")
        ->check(notNegative)
        ->capture_default_str();
    modelCheck = model->add_subcommand("check", "Name every model file that is missing or wrong");
    modelCheck->add_option("DIR", modelCheckRequest.folder, kModelFolderHelp);

    extract =
        app.add_subcommand("extract", "Make the feature of a face, or with --list those of many");
    extract->add_option("PHOTO", extractRequest.photo, "JPEG, PNG or PPM file")->required();
    addLandmarks(*extract, extractRequest.landmarks);
    extract
        ->add_option("-o,--output", extractRequest.feature,
                     "Feature file to write, 2008 bytes (required)")
        ->required()
        ->option_text("FEATURE");
    extract->add_option("--model", extractRequest.model, kModelFolderHelp)->option_text("DIR");
    addExif(*extract, extractRequest.exif);
    addFace(*extract, extractRequest.face)->excludes(extract->get_option("LANDMARKS"));

    compare = app.add_subcommand(
        "compare", "Print the score of two features, or a table id_a,id_b,score of galleries");
    const char* const kinds = "Feature file, GALLERY for all of its rows, or GALLERY#ID for one";
    compare->add_option("A", compareRequest.first, kinds)->required();
    compare->add_option("B", compareRequest.second, kinds)->required();
    compare
        ->add_option("--threshold", compareRequest.threshold,
                     "End with 0 if the score is T or more, and with 1 if not, NaN included, or "
                     "with 5 if there is none. Of a table, print the rows that reach T alone")
        ->check(thresholdFault)
        ->option_text("T");

    landmarks = app.add_subcommand("landmarks", "Find the landmarks of a face in a photograph");
    landmarks->add_option("PHOTO", landmarksRequest.photo, "JPEG, PNG or PPM file")->required();
    landmarks
        ->add_option("-o,--output", landmarksRequest.landmarks,
                     "JSON file to write; without it, standard output")
        ->option_text("FILE");
    addExif(*landmarks, landmarksRequest.exif);
    landmarks
        ->add_flag("--all", landmarksRequest.all,
                   "Every face that is found, by falling size: FILE_1.json, FILE_2.json, ...")
        ->excludes(addFace(*landmarks, landmarksRequest.face));

    draw = app.add_subcommand("draw", "Draw what the library sees of a face");
    draw->add_option("PHOTO", drawRequest.photo, "JPEG, PNG or PPM file");
    draw->add_option("LANDMARKS", drawRequest.landmarks, "JSON file with its landmarks");
    draw->add_option("-o,--output", drawRequest.picture, "PNG file to write (required)")
        ->check(pngName)
        ->required()
        ->option_text("FILE.png");
    addExif(*draw, drawRequest.exif);
    addFace(*draw, drawRequest.face)->excludes(draw->get_option("LANDMARKS"));
    draw->add_flag("--model-points", drawRequest.modelPoints,
                   "Draw the 29 points of the rigid head with their ids instead of a photograph")
        ->excludes(draw->get_option("PHOTO"));
    extractList.emplace(app, *extract);
    gallery.emplace(app, *model);
  }

  // The words of the verb that the command line names, as far as it names one.
  std::string named() const {
    if (modelSynth->parsed()) return kModelSynthVerb;
    if (modelCheck->parsed()) return kModelCheckVerb;
    if (extract->parsed()) return kExtractVerb;
    if (compare->parsed()) return kCompareVerb;
    if (landmarks->parsed()) return kLandmarksVerb;
    if (draw->parsed()) return kDrawVerb;
    if (gallery->parsed()) return gallery->named();
    return model->parsed() ? "model" : "";
  }

  ExitCode run() const {
    if (modelSynth->parsed()) return runModelSynth(modelSynthRequest);
    if (modelCheck->parsed()) return runModelCheck(modelCheckRequest);
    if (extractList->parsed()) return extractList->run(extractRequest);
    if (extract->parsed()) return runExtract(extractRequest);
    if (landmarks->parsed()) return runLandmarks(landmarksRequest);
    if (draw->parsed()) return runDraw(drawRequest);
    if (gallery->parsed()) return gallery->run();
    return runCompare(compareRequest);
  }
};

}  // namespace

int main(int argc, char** argv) {
  Verbs verbs;
  try {
    verbs.app.parse(argc, argv);
  } catch (const CLI::Success& helpOrVersion) {
    return verbs.app.exit(helpOrVersion);
  } catch (const CLI::ParseError& error) {
    const std::string verb = verbs.named();
    const std::vector<std::string> unknown = verbs.app.remaining(true);
    const std::string wrong = unknown.empty() ? error.what() : "unknown: " + unknown.front();
    say(verb, wrong + ". Run \"facefeature " + verb +
                  (verb.empty() ? "--help\" for its usage." : " --help\" for its usage."));
    return kWrongUsage;
  }
  try {
    return verbs.run();
  } catch (const Failure& failure) {
    say(verbs.named(), failure.what());
    return failure.code();
  } catch (const std::bad_alloc&) {
    say(verbs.named(), "out of memory. Give it a smaller picture or more memory.");
    return kFailed;
  } catch (const std::exception& error) {
    say(verbs.named(), error.what());
    return kFailed;
  }
}
