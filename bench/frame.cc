// Log lines that no one wants, and loading the library.
#include <cstdlib>

#include "bench/table.h"
#include "frame/log.h"

namespace coupler::bench {
namespace {

constexpr int kLines = 1'000'000;

void drop(const char*, int32_t*, int32_t, const char*, ...) { std::abort(); }

__attribute__((noinline)) void do_nothing() { __asm__ volatile(""); }

__attribute__((noinline)) void log_line(int i) { LOG_LINE(debug, "bench", "line %d", i); }

double gated_lines() {
  static int32_t threshold = 9;
  gLogPelkFn = drop;
  gLogPelkModuleOffset = &threshold;
  debug = 1;
  return processor_time([] {
    for (int i = 0; i < kLines; ++i) log_line(i);
  });
}

double empty_calls() {
  return processor_time([] {
    for (int i = 0; i < kLines; ++i) do_nothing();
  });
}

std::string beside(const char* name) { return COUPLER_BENCH_PROGRAMS + std::string("/") + name; }

}  // namespace

std::vector<Row> frame_rows() {
  return {
      {"a million log lines that are gated off", "a million calls of an empty function", 5, gated_lines, empty_calls},
      {"loading the library and initialising it", "an empty program with the same libraries", 1.05,
       [] { return processor_time_of({beside("load_coupler")}); },
       [] { return processor_time_of({beside("load_nothing")}); }},
      {"the same", "that program with an empty library more", 1.1,
       [] { return processor_time_of({beside("load_coupler")}); },
       [] { return processor_time_of({beside("load_empty")}); }}};
}

}  // namespace coupler::bench
