// What the leak checker need not report of the program: fontconfig, which cairo asks for a font,
// keeps what it has read of its settings until the process ends.
//
// Visible, since the checker is a library of its own.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

// Nor what it leaves out: the program's words are the user's.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_options() {
  return "print_suppressions=0";
}
