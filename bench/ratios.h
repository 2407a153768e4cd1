#pragma once

#include <vector>

namespace coupler::bench {

/// What is compared with what, by the names of two benchmarks.
struct Ratio {
  const char* what;
  const char* against;
};

/// Runs the registered benchmarks in random order, several times each, and prints the ratios of their median processor
/// times. Processor time, because a machine that is busy with something else hardly changes it.
int run(int argc, char** argv, const std::vector<Ratio>& ratios);

}  // namespace coupler::bench
