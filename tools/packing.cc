#include "tools/packing.h"

#include <csignal>
#include <nlohmann/json.hpp>

#include "tools/print.h"
#include "tools/progress.h"

namespace coupler::tool {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void write_file(const pack::Container& container, const std::string& out, uint64_t size) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, [](int) { interrupted = 1; });
  Progress progress("packing " + out, size);
  pack::write_file(container, out, [&](uint64_t done) {
    if (interrupted != 0) throw Failure("interrupted; " + out + " is as it was");
    progress.show(done);
  });
}

}  // namespace

void pack_file(const Context& context, pack::Kind kind, const std::string& manifest, const std::string& out) {
  const pack::Manifest wanted = pack::read_manifest(kind, manifest);
  const uint64_t size = pack::size(wanted.container);
  write_file(wanted.container, out, size);
  nlohmann::ordered_json report = {{"file", out}, {"size", size}};
  if (context.json) report["warnings"] = wanted.warnings;
  print_report(context, report);
  for (const std::string& warning : wanted.warnings) print_message("warning:", warning, Style::kHeading);
}

}  // namespace coupler::tool
