// couplerctl as a host of the library: initialises it and takes what it logs and prints.
#include "tools/host.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string_view>

#include "brantix/coupler.h"
#include "support/handle.h"
#include "tools/print.h"

namespace coupler::tools {
namespace {

constexpr std::string_view kLevels[] = {"debug", "info", "critical"};  // a level's value is its place
constexpr int32_t kSilent = std::size(kLevels);
constexpr size_t kMostReasons = 3;

// The host's log function has no argument of its own, so what it needs lives here.
struct {
  std::mutex mutex;
  int32_t threshold = 0;
  int32_t shown = kSilent;
  std::deque<std::string> reasons;  // the last one first
} host_log;

// Most lines that give a reason begin with "ERROR: "; of the others the operation's name leads.
void keep_reason(std::string_view line) {
  constexpr std::string_view kError = "ERROR: ";
  const bool named = line.find(": invalid ") != line.npos || line.find(" ERROR ") != line.npos;
  if (!line.starts_with(kError) && !named) return;
  host_log.reasons.emplace_front(line.substr(named ? 0 : kError.size()));
  if (host_log.reasons.size() > kMostReasons) host_log.reasons.pop_back();
}

BRANTIX_PRINTF(4, 5)
void write_log(const char* operation, int32_t*, int32_t level, const char* format, ...) {
  char text[2048];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const std::string line = without_line_end(text);

  const std::lock_guard lock(host_log.mutex);
  keep_reason(line);
  if (level < host_log.shown) return;
  const std::string_view name = level >= 0 && level < kSilent ? kLevels[level] : "?";
  std::fprintf(stderr, "%-8s  %s  %s\n", name.data(), operation, escaped(line).c_str());
}

}  // namespace

Captured::Captured() {
  const Descriptor kept(::memfd_create("printed", MFD_CLOEXEC));
  if (!kept) throw Failure("cannot keep what the library prints");
  std::fflush(stdout);
  result_stream();  // takes standard output's own descriptor before it is turned
  ::dup2(kept.get(), STDOUT_FILENO);
}

Captured::~Captured() {
  std::fputs(take().c_str(), stderr);
  ::dup2(fileno(result_stream()), STDOUT_FILENO);
}

std::string Captured::take() {
  std::fflush(stdout);
  std::string text(static_cast<size_t>(::lseek(STDOUT_FILENO, 0, SEEK_END)), '\0');
  const ssize_t got = ::pread(STDOUT_FILENO, text.data(), text.size(), 0);
  text.resize(got < 0 ? 0 : static_cast<size_t>(got));
  if (::ftruncate(STDOUT_FILENO, 0) == 0) ::lseek(STDOUT_FILENO, 0, SEEK_SET);
  return text;
}

void start_library(const Context& context) {
  host_log.shown = static_cast<int32_t>(std::ranges::find(kLevels, context.log) - kLevels);  // kSilent without one
  const SCI_lib_init_s init{write_log, 0, 1, 2, &host_log.threshold};
  SCI_Initialize_lib(nullptr, nullptr, nullptr, &init);
  cs_debug_verbose = host_log.shown <= 1;
  if (SC_Initialize_commands() != 0) fail_with_reason("the library's command table is damaged; install it anew");
}

void fail_with_reason(const std::string& what, const std::string& place) {
  std::string text = what;
  if (host_log.shown == kSilent) {
    for (const std::string& reason : host_log.reasons) text += "\n  " + reason;
  }
  throw Failure(text, place);
}

}  // namespace coupler::tools
