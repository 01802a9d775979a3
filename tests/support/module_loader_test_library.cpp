// The library that module_loader_test.cpp loads.
extern "C" __attribute__((visibility("default"))) int HostTestAnswer() {
  return 4711;
}
