// What fontconfig keeps of the fonts that it was asked for is freed by nobody; the leak sanitizer is told so. This
// stands in every program that draws while a sanitizer watches.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
