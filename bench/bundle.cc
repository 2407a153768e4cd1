#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/ratios.h"
#include "brantix/firmware.h"
#include "support/handle.h"
#include "tools/pack/builder.h"

/// Unpacking a bundle and asking for its versions. COUPLER_BENCH_DIR: where the files are; /tmp by default.
namespace {

using namespace coupler;

constexpr size_t kPartSize = size_t{256} << 20;

const std::string& directory() {
  static const std::string path = [] {
    const char* chosen = std::getenv("COUPLER_BENCH_DIR");
    return std::string(chosen == nullptr ? "/tmp" : chosen) + "/coupler_bench";
  }();
  return path;
}

std::string path(const std::string& name) { return directory() + "/" + name; }

const std::string kContent = [] {
  std::string content(kPartSize, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 4099);
  return content;
}();

std::vector<pack::Object> parts(int count) {
  std::vector<pack::Object> all;
  for (int i = 1; i <= count; ++i) all.push_back(pack::text_file("part" + std::to_string(i), "text"));
  return all;
}

void make_bundles() {
  std::filesystem::create_directories(path("out"));
  pack::write_file(pack::bundle({pack::image_file("fw.img", kContent)}), path("big"));
  for (const int count : {1, 5, 10, 20}) {
    pack::write_file(pack::bundle(parts(count)), path("parts" + std::to_string(count)));
  }
}

/// Where the part's bytes begin in the bundle: behind GUID, three heads and the part's text. Not at a page.
constexpr off_t kPayloadAt = 16 + 3 * 32 + 16;

Descriptor created(const char* name) {
  return Descriptor(open(path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
}

void unpack(benchmark::State& state) {
  FirmwareInfo record;
  for (auto _ : state) {
    if (SCI_extractFirmwareImagePayload(path("big").c_str(), &record, path("out").c_str()) != 0) std::abort();
  }
}

void kernel_copy(benchmark::State& state) {
  for (auto _ : state) {
    const Descriptor from(open(path("big").c_str(), O_RDONLY | O_CLOEXEC)), to = created("copy");
    off_t at = kPayloadAt;
    for (size_t left = kPartSize; left > 0;) {
      const ssize_t done = copy_file_range(from.get(), &at, to.get(), nullptr, left, 0);
      if (done <= 0) std::abort();
      left -= static_cast<size_t>(done);
    }
  }
}

void stream_copy(benchmark::State& state) {
  for (auto _ : state) {
    const File from(std::fopen(path("big").c_str(), "rb")), to(std::fopen(path("stream").c_str(), "wb"));
    fseeko(from.get(), kPayloadAt, SEEK_SET);
    char piece[4096];
    for (size_t left = kPartSize; left > 0;) {
      const size_t got = std::fread(piece, 1, std::min(left, sizeof(piece)), from.get());
      if (got == 0 || std::fwrite(piece, 1, got, to.get()) != got) std::abort();
      left -= got;
    }
  }
}

void query(benchmark::State& state, const char* name) {
  FirmwareInfo record;
  for (auto _ : state) {
    if (SCI_readFirmwareImageVersion(path(name).c_str(), &record) != 0) std::abort();
  }
}

/// Opening, reading and closing the file, the least that a query of it costs.
void read_once(benchmark::State& state) {
  for (auto _ : state) {
    const File file(std::fopen(path("parts20").c_str(), "rb"));
    char piece[4096];
    benchmark::DoNotOptimize(std::fread(piece, 1, sizeof(piece), file.get()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  make_bundles();
  for (const auto& [name, copy] : {std::pair{"unpack, 256 MiB", &unpack},
                                   {"copy_file_range, 256 MiB", &kernel_copy},
                                   {"fread and fwrite by 4 KiB, 256 MiB", &stream_copy}}) {
    benchmark::RegisterBenchmark(name, copy)->Iterations(1);
  }
  for (const auto& [name, bundle] : {std::pair{"versions, 1 part", "parts1"},
                                     {"versions, 5 parts", "parts5"},
                                     {"versions, 10 parts", "parts10"},
                                     {"versions, 20 parts", "parts20"},
                                     {"versions, 1 part of 256 MiB", "big"}}) {
    benchmark::RegisterBenchmark(name, query, bundle)->MinTime(0.05);
  }
  benchmark::RegisterBenchmark("open, read 4 KiB, close", read_once)->MinTime(0.05);
  const int result = bench::run(argc, argv,
                                {{"unpack, 256 MiB", "copy_file_range, 256 MiB"},
                                 {"unpack, 256 MiB", "fread and fwrite by 4 KiB, 256 MiB"},
                                 {"versions, 1 part", "open, read 4 KiB, close"},
                                 {"versions, 5 parts", "versions, 1 part"},
                                 {"versions, 10 parts", "versions, 1 part"},
                                 {"versions, 20 parts", "versions, 1 part"},
                                 {"versions, 1 part of 256 MiB", "versions, 1 part"}});
  std::filesystem::remove_all(directory());
  return result;
}
