// The leaks of the program that the leak checker ignores: fontconfig, through which cairo finds a
// font, keeps its settings until the process ends.
//
// Exported, because the checker is a separate library.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

// Also omits the summary of ignored leaks: messages of the program are for its users.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "print_suppressions=0";
}
