// Tells the leak checker what to ignore in the program: fontconfig, which cairo asks for a font,
// keeps its settings until the process ends.
//
// Exported, since the checker is a library of its own.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

// No summary of ignored leaks either: the program's messages belong to the user.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "print_suppressions=0";
}
