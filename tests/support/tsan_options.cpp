// For programs that tests start without an environment: what TSAN_OPTIONS would say.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

// The sanitizer sleeps a second at the end of a program, for races at the end; who waits for that
// end takes it for a hang.
const char* __tsan_default_options() {
  return "atexit_sleep_ms=0";
}
