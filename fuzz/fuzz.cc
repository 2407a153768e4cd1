// Hands each input to the fuzzer; its host has every log line written out.
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const coupler::test::LogCapture host;
  cs_debug_verbose = 1;
  coupler::fuzz::try_input({reinterpret_cast<const char*>(data), size});
  return 0;
}
