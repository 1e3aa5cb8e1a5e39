#include "verbs/command_gallery.h"

#include "model/default_model.h"

namespace facefeature_tools {

GalleryCommands::GalleryCommands(CLI::App& app, CLI::App& model) {
  gallery_ = app.add_subcommand("gallery", "Look into, convert or join galleries");
  gallery_->require_subcommand(1);

  info_ = gallery_->add_subcommand("info", "Print what a gallery says of itself");
  info_->add_option("GALLERY", infoRequest_.gallery, "Gallery file")->required();
  info_->add_flag("--ids", infoRequest_.ids, "Print its ids instead, one a line");

  export_ = gallery_->add_subcommand("export", "Write the features for other programs");
  export_->add_option("GALLERY", exportRequest_.gallery, "Gallery file")->required();
  export_
      ->add_option(
          "-o,--output", exportRequest_.output,
          "File to write (required); .npy with the ids beside it in .ids.txt, .csv, or .jsonl")
      ->required()
      ->option_text("FILE");

  merge_ = gallery_->add_subcommand("merge", "Make one gallery of several");
  merge_->add_option("GALLERY", mergeRequest_.galleries, "Gallery files, in order")->required();
  merge_->add_option("-o,--output", mergeRequest_.output, "Gallery file to write (required)")
      ->required()
      ->option_text("GALLERY");
  merge_
      ->add_option("--list", mergeRequest_.list,
                   "Order the rows as this list does, whatever the order of the galleries")
      ->option_text("FILE");

  fingerprint_ = model.add_subcommand("fingerprint", "Print which model it is, as galleries say");
  fingerprint_->add_option("DIR", fingerprintRequest_.folder, kModelFolderHelp);
}

std::string GalleryCommands::named() const {
  if (info_->parsed()) return kGalleryInfoVerb;
  if (export_->parsed()) return kGalleryExportVerb;
  if (merge_->parsed()) return kGalleryMergeVerb;
  if (fingerprint_->parsed()) return kModelFingerprintVerb;
  return gallery_->parsed() ? "gallery" : "";
}

bool GalleryCommands::parsed() const { return gallery_->parsed() || fingerprint_->parsed(); }

ExitCode GalleryCommands::run() const {
  if (info_->parsed()) return runGalleryInfo(infoRequest_);
  if (export_->parsed()) return runGalleryExport(exportRequest_);
  if (merge_->parsed()) return runGalleryMerge(mergeRequest_);
  return runModelFingerprint(fingerprintRequest_);
}

}  // namespace facefeature_tools
