// Measures every row and prints the table. usage: coupler_bench [--json] [--rounds N] [TEXT: only rows with it]
#include "bench/table.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace coupler::bench {
namespace {

struct Options {
  bool json = false;
  int rounds = 15;
  std::string only;
};

struct Result {
  double ratio = 0;
  bool met = false;
};

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) {
      options.json = true;
    } else if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) {
      options.rounds = std::max(1, std::atoi(argv[++i]));
    } else {
      options.only = argv[i];
    }
  }
  return options;
}

Result measure(const Row& row, int rounds) {
  double cost = row.cost(), base = row.base();
  for (int i = 1; i < rounds; ++i) {
    cost = std::min(cost, row.cost());
    base = std::min(base, row.base());
  }
  const double ratio = cost / base;
  return {ratio, ratio <= row.wanted};
}

void print(const Row& row, const Result& result, bool json) {
  const char* const work = row.work.c_str();
  const char* const against = row.against.c_str();
  if (json) {
    std::printf("{\"work\": \"%s\", \"against\": \"%s\", \"ratio\": %.4g, \"wanted\": %.4g, \"met\": %s}\n", work,
                against, result.ratio, row.wanted, result.met ? "true" : "false");
  } else {
    std::printf("%-52s | %-52s | %7.3g | %6.3g | %s\n", work, against, result.ratio, row.wanted,
                result.met ? "met" : "NOT MET");
  }
  std::fflush(stdout);
}

void print_skipped(const Row& row, bool json) {
  if (json) {
    std::printf("{\"work\": \"%s\", \"skipped\": \"%s\"}\n", row.work.c_str(), row.skipped.c_str());
  } else {
    std::printf("%-52s | skipped: %s\n", row.work.c_str(), row.skipped.c_str());
  }
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

}  // namespace

double processor_time(const std::function<void()>& action) {
  timespec before, after;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
  action();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
  return static_cast<double>(after.tv_sec - before.tv_sec) + 1e-9 * static_cast<double>(after.tv_nsec - before.tv_nsec);
}

double processor_time_of(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child;
  const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = -1;
  rusage usage{};
  if (error == 0) wait4(child, &status, 0, &usage);
  if (error != 0 || !WIFEXITED(status) || WEXITSTATUS(status) > 1) throw std::runtime_error(command[0] + " failed");
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double wall_time(const std::function<void()>& action) {
  const auto before = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
}

std::string directory() {
  const char* const chosen = std::getenv("COUPLER_BENCH_DIR");
  return chosen == nullptr ? "/tmp" : chosen;
}

}  // namespace coupler::bench

int main(int argc, char** argv) {
  using namespace coupler::bench;
  const Options options = parse(argc, argv);
  if (!options.json) std::printf("%-52s | %-52s |   ratio | wanted |\n", "work", "against");
  bool all_met = true;
  for (const auto& rows : {bundle_rows, config_rows, frame_rows, notification_rows, scan_rows}) {
    for (const Row& row : rows()) {
      if ((row.work + row.against).find(options.only) == std::string::npos) continue;
      if (!row.skipped.empty()) {
        print_skipped(row, options.json);
        continue;
      }
      const Result result = measure(row, options.rounds);
      print(row, result, options.json);
      all_met = all_met && result.met;
    }
  }
  return all_met ? 0 : 1;
}
