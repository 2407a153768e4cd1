// Builds files from manifests: what bundle, image and SSD packing share.
#include <unistd.h>

#include <chrono>

#include "tools/print.h"

namespace coupler::tools {
namespace {

using Clock = std::chrono::steady_clock;

/// A line on standard error that says how far it is: on a terminal only, and only after the first second.
class Shown {
 public:
  Shown(std::string what, uint64_t total) : what_(std::move(what)), total_(total) {}
  ~Shown() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }
  Shown(const Shown&) = delete;
  Shown& operator=(const Shown&) = delete;

  void add(uint64_t count) {
    done_ += count;
    if (!on_terminal_ || Clock::now() < next_) return;
    next_ = Clock::now() + std::chrono::milliseconds(200);
    shown_ = true;
    std::fprintf(stderr, "\r\033[K%s  %3u %% of %ju MiB", escaped(what_).c_str(),
                 static_cast<unsigned>(done_ / (total_ / 100 + 1)), uintmax_t{total_ >> 20});
  }

 private:
  const std::string what_;
  const uint64_t total_;
  uint64_t done_ = 0;
  const bool on_terminal_ = ::isatty(STDERR_FILENO) != 0;
  Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
  bool shown_ = false;
};

/// Where the bytes are the result, nothing else is.
void write_result(const Context& context, const pack::Manifest& wanted) {
  if (context.json) throw WrongUsage("OUT: - leaves no place for the document of --json; name a file", "OUT");
  if (::isatty(fileno(result_stream())) != 0) throw WrongUsage("OUT: - is a terminal; name a file", "OUT");
  wanted.write([](std::string_view piece) { std::fwrite(piece.data(), 1, piece.size(), result_stream()); });
}

pack::Manifest read_manifest(pack::Kind kind, const Arguments& arguments) {
  pack::Manifest wanted = pack::read_manifest(kind, arguments.at("MANIFEST"));
  if (!arguments.contains("--align")) return wanted;
  const int32_t block = arguments.number("--align");
  if (block == 0 || block % 16 != 0) {
    throw WrongUsage("--align: " + arguments.at("--align") + " is no multiple of 16", "--align");
  }
  pack::align(std::get<pack::Container>(wanted.body), static_cast<uint64_t>(block));
  return wanted;
}

void print_warnings(const pack::Manifest& wanted) {
  for (const std::string& warning : wanted.warnings) print_message("warning:", warning, Style::kHeading);
}

void pack_file(const Context& context, pack::Kind kind, const Arguments& arguments) {
  if (!arguments.contains("OUT")) throw WrongUsage("OUT is required", "OUT");
  const std::string& out = arguments.at("OUT");
  const pack::Manifest wanted = read_manifest(kind, arguments);
  const uint64_t size = wanted.size();  // what cannot be expressed is refused before anything is written
  pack::refuse_overwriting(out, wanted.files);
  if (out == "-") {
    write_result(context, wanted);
  } else {
    Shown shown("packing " + out, size);
    pack::write_whole(out, [&](const pack::Sink& sink) {
      wanted.write([&](std::string_view piece) {
        sink(piece);
        shown.add(piece.size());
      });
    });
  }
  Json report = {{"file", out}, {"size", size}};
  if (context.json) report["warnings"] = wanted.warnings;
  if (out != "-") print_report(context, report);
  print_warnings(wanted);
}

}  // namespace

Command pack_command(pack::Kind kind, const char* about, const char* manifest, const char* out, const Check& check) {
  Command command = {
      "pack", about, {{"MANIFEST", manifest}, {.name = "OUT", .about = out, .optional = check != nullptr}}};
  if (check != nullptr) {
    command.arguments.push_back({.name = "--align",
                                 .about = "Start each part's content at a multiple of so many bytes, such as 4096",
                                 .most = 65536});
    command.arguments.push_back(
        {.name = "--check", .about = "Verify what would be built, and write nothing", .flag = true});
  }
  command.run = [=](const Context& context, const Arguments& arguments) {
    if (!arguments.contains("--check")) return pack_file(context, kind, arguments);
    const pack::Manifest wanted = read_manifest(kind, arguments);
    const Nameless made([&](const pack::Sink& sink) { wanted.write(sink); });
    print_warnings(wanted);
    check(context, {made.path()}, arguments.at("MANIFEST"));
  };
  return command;
}

}  // namespace coupler::tools
