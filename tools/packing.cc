// Builds files from manifests: what bundle, image and SSD packing share.
#include "tools/packing.h"

#include <unistd.h>

#include <chrono>
#include <csignal>

#include "tools/pack/files.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t interrupted = 0;

/// Holds interrupts off until what was begun is cleaned up, then lets them have their way.
class Interrupts {
 public:
  Interrupts() {
    struct sigaction noted {};
    noted.sa_handler = [](int signal) { interrupted = signal; };
    for (size_t i = 0; i < std::size(kSignals); ++i) {
      ::sigaction(kSignals[i], nullptr, &old_[i]);
      if (old_[i].sa_handler != SIG_IGN) ::sigaction(kSignals[i], &noted, nullptr);
    }
  }
  ~Interrupts() {
    for (size_t i = 0; i < std::size(kSignals); ++i) ::sigaction(kSignals[i], &old_[i], nullptr);
    if (interrupted != 0) std::raise(interrupted);
  }
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
  struct sigaction old_[std::size(kSignals)]{};
};

/// A number of bytes as people read it, such as "1.5 MiB".
std::string bytes_text(uint64_t count) {
  constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
  if (count < 1024) return std::to_string(count) + " bytes";
  double value = static_cast<double>(count) / 1024;
  size_t unit = 0;
  for (; value >= 1024 && unit + 1 < std::size(kUnits); ++unit) value /= 1024;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", value, kUnits[unit]);
  return text;
}

/// A line on standard error that says how far it is: on a terminal only, and only after the first second.
class Shown {
 public:
  Shown(std::string what, uint64_t total) : what_(std::move(what)), total_(total) {}
  ~Shown() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }
  Shown(const Shown&) = delete;
  Shown& operator=(const Shown&) = delete;

  void operator()(uint64_t done) {
    if (interrupted != 0) throw Failure("interrupted");
    if (!on_terminal_ || Clock::now() < next_) return;
    next_ = Clock::now() + std::chrono::milliseconds(200);
    shown_ = true;
    std::fprintf(stderr, "\r\033[K%s  %3u%%  %s of %s", escaped(what_).c_str(),
                 static_cast<unsigned>(done / (total_ / 100 + 1)), bytes_text(done).c_str(),
                 bytes_text(total_).c_str());
  }

 private:
  const std::string what_;
  const uint64_t total_;
  const bool on_terminal_ = ::isatty(STDERR_FILENO) != 0;
  Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
  bool shown_ = false;
};

void align(pack::Container& container, const std::string& block) {
  const uint64_t bytes = std::stoull(block);
  if (bytes == 0 || bytes % 16 != 0) throw WrongUsage("--align: " + block + " is no multiple of 16", "--align");
  pack::align(container, bytes);
}

}  // namespace

void pack_file(const Context& context, const std::string& out, const std::vector<std::filesystem::path>& inputs,
               uint64_t size, const std::vector<std::string>& warnings,
               const std::function<void(const pack::Progress&)>& write) {
  pack::refuse_overwriting(out, inputs);
  {
    const Interrupts held;
    Shown shown("packing " + out, size);
    write([&](uint64_t done) { shown(done); });
  }
  Json report = {{"file", out}, {"size", size}};
  if (context.json) report["warnings"] = warnings;
  print_report(context, report);
  for (const std::string& warning : warnings) print_message("warning:", warning, Style::kHeading);
}

pack::Manifest read_container(pack::Kind kind, const Arguments& arguments) {
  pack::Manifest wanted = pack::read_manifest(kind, arguments.at("MANIFEST"));
  if (arguments.contains("--align")) align(wanted.container, arguments.at("--align"));
  return wanted;
}

void pack_container(const Context& context, pack::Kind kind, const Arguments& arguments) {
  if (!arguments.contains("OUT")) throw WrongUsage("OUT is required", "OUT");
  const std::string& out = arguments.at("OUT");
  const pack::Manifest wanted = read_container(kind, arguments);
  pack_file(context, out, wanted.files, pack::size(wanted.container), wanted.warnings,
            [&](const pack::Progress& progress) { pack::write_file(wanted.container, out, progress); });
}

}  // namespace coupler::tools
