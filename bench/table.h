// The table of the benchmarks: what work costs beside what one would otherwise run.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace coupler::bench {

/// Does a piece of work once. @return what it cost in seconds
using Measure = std::function<double()>;

/// One line of the table. The two are measured in turn, round after round, and the smallest cost of each counts: what
/// else the machine does only ever adds.
struct Row {
  std::string work;
  std::string against;
  double wanted;  // the ratio is at most this
  Measure cost;
  Measure base;
  std::string skipped = {};  // why it cannot be measured here; empty: it can
};

/// Seconds of this thread's processor that `action` takes.
double processor_time(const std::function<void()>& action);

/// Seconds of processor time of the command, its children included; its output is dropped.
double processor_time_of(const std::vector<std::string>& command);

/// Seconds that pass while `action` runs.
double wall_time(const std::function<void()>& action);

/// Where files are made: COUPLER_BENCH_DIR, or /tmp. On the file system to measure.
std::string directory();

/// The rows of each file of this folder.
std::vector<Row> bundle_rows();
std::vector<Row> config_rows();
std::vector<Row> frame_rows();
std::vector<Row> notification_rows();
std::vector<Row> scan_rows();

}  // namespace coupler::bench
