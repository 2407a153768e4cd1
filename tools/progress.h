#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace coupler::tool {

/// A line on standard error that says how far an operation is: on a terminal only, and only after its first second.
class Progress {
 public:
  Progress(std::string what, uint64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(uint64_t done);

 private:
  using Clock = std::chrono::steady_clock;

  const std::string what_;
  const uint64_t total_;
  const bool on_terminal_;
  Clock::time_point next_;
  bool shown_ = false;
};

/// Shows the progress of an operation that blocks: asks `measure` from a thread of its own until it is destroyed.
class Watch {
 public:
  Watch(std::string what, uint64_t total, std::function<uint64_t()> measure);

 private:
  void run(const std::stop_token& stop);

  Progress progress_;
  const std::function<uint64_t()> measure_;
  std::mutex mutex_;
  std::condition_variable_any stopped_;
  std::jthread thread_;  // last: ends first
};

}  // namespace coupler::tool
