#include "tools/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "tools/print.h"

namespace coupler::tool {

namespace {

using namespace std::chrono_literals;
constexpr auto kFirst = 1s;
constexpr auto kEvery = 200ms;

}  // namespace

Progress::Progress(std::string what, uint64_t total)
    : what_(std::move(what)), total_(total), on_terminal_(isatty(STDERR_FILENO) != 0), next_(Clock::now() + kFirst) {}

Progress::~Progress() {
  if (shown_) std::fputs("\r\033[K", stderr);
}

void Progress::show(uint64_t done) {
  if (!on_terminal_ || Clock::now() < next_) return;
  next_ = Clock::now() + kEvery;
  shown_ = true;
  const uint64_t percent = total_ == 0 ? 100 : std::min<uint64_t>(100, done / (total_ / 100 + 1));
  std::fprintf(stderr, "\r\033[K%s  %3u%%  %s of %s", escaped(what_).c_str(), static_cast<unsigned>(percent),
               bytes_text(done).c_str(), bytes_text(total_).c_str());
}

Watch::Watch(std::string what, uint64_t total, std::function<uint64_t()> measure)
    : progress_(std::move(what), total),
      measure_(std::move(measure)),
      thread_([this](const std::stop_token& stop) { run(stop); }) {}

void Watch::run(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (!stopped_.wait_for(lock, stop, kEvery, [&] { return stop.stop_requested(); })) progress_.show(measure_());
}

}  // namespace coupler::tool
