#include "bench/ratios.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace coupler::bench {
namespace {

/// Keeps the medians and prints nothing: a time alone says little about another machine.
class Medians : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name == "median") seconds_[run.run_name.function_name] = run.cpu_accumulated_time;
    }
  }

  double seconds(const std::string& name) const {
    const auto it = seconds_.find(name);
    return it == seconds_.end() ? 0 : it->second;
  }

 private:
  std::map<std::string, double> seconds_;
};

}  // namespace

int run(int argc, char** argv, const std::vector<Ratio>& ratios) {
  char repetitions[] = "--benchmark_repetitions=9";
  char order[] = "--benchmark_enable_random_interleaving=true";
  char brief[] = "--benchmark_display_aggregates_only=true";
  std::vector<char*> arguments{argv[0], repetitions, order, brief};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  Medians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);
  std::printf("%-28s %-36s %s\n", "cost of", "against", "ratio");
  for (const auto& [what, against] : ratios) {
    const double cost = medians.seconds(what), base = medians.seconds(against);
    if (cost > 0 && base > 0) std::printf("%-28s %-36s %.2f\n", what, against, cost / base);
  }
  return 0;
}

}  // namespace coupler::bench
