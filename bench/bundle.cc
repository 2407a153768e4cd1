// Unpacking a bundle, and asking for its versions.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "bench/table.h"
#include "brantix/coupler.h"
#include "support/handle.h"
#include "tools/pack/builder.h"

namespace coupler::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kParts = 6;
constexpr size_t kPartSize = size_t{88} << 20;  // 528 MiB in all
constexpr size_t kPiece = size_t{256} << 10;

void must(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what);
}

/// The files of the benchmark; gone with it.
class Place {
 public:
  explicit Place(const std::string& in) : path_(in + "/coupler_bench") {
    fs::remove_all(path_);
    fs::create_directories(path_ + "/out");
    fs::create_directories(path_ + "/copy");
  }
  ~Place() { fs::remove_all(path_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  void empty(const char* name) const {
    fs::remove_all(*this / name);
    fs::create_directories(*this / name);
  }

 private:
  std::string path_;
};
using Shared = std::shared_ptr<const Place>;

std::string content() {
  std::string bytes(kPartSize, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 4099);
  return bytes;
}

std::string part_name(int i) { return "part" + std::to_string(i); }

void make_big(const Place& place) {
  const std::string bytes = content();
  std::vector<pack::Object> parts;
  fs::create_directories(place / "files");
  for (int i = 0; i < kParts; ++i) {
    parts.push_back(pack::image_file(part_name(i), bytes));
    const Descriptor file(open((place / ("files/" + part_name(i))).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    must(write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "no room");
  }
  pack::write_file(pack::bundle(parts), place / "big");
  processor_time_of({"tar", "-C", place / "files", "-cf", place / "big.tar", "."});
  ::sync();
}

void unpack(const Place& place) {
  FirmwareInfo record;
  must(SCI_extractFirmwareImagePayload((place / "big").c_str(), &record, (place / "out").c_str()) == 0, "not unpacked");
}

/// What a plain program would do: space first, then pieces.
void copy_in_pieces(const Place& place) {
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  for (int i = 0; i < kParts; ++i) {
    const Descriptor from(open((place / ("files/" + part_name(i))).c_str(), O_RDONLY | O_CLOEXEC));
    const Descriptor to(open((place / ("copy/" + part_name(i))).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    [[maybe_unused]] const int claimed = fallocate(to.get(), 0, 0, kPartSize);
    for (ssize_t got; (got = read(from.get(), piece.get(), kPiece)) > 0;) {
      must(write(to.get(), piece.get(), static_cast<size_t>(got)) == got, "no room");
    }
  }
}

std::vector<std::string> cp(const Place& place, const char* how) {
  return {"cp", "-r", how, place / "files/.", place / "copy"};
}

/// A measure into an empty directory.
Measure fresh(const Shared& place, const char* target, std::function<double()> measure) {
  return [=] {
    place->empty(target);
    return measure();
  };
}

std::vector<Row> unpack_rows(const Shared& place) {
  const Measure cost = fresh(place, "out", [=] { return processor_time([&] { unpack(*place); }); });
  const Measure synced = fresh(place, "out", [=] { return wall_time([&] { unpack(*place); }); });
  return {
      {"unpacking 6 parts, 528 MiB", "cp of the same files", 1.1, cost,
       fresh(place, "copy", [=] { return processor_time_of(cp(*place, "--reflink=never")); })},
      {"the same", "space claimed, then read and write by 256 KiB", 1.05, cost,
       fresh(place, "copy", [=] { return processor_time([&] { copy_in_pieces(*place); }); })},
      {"the same", "tar -xf", 0.35, cost,
       fresh(place, "copy",
             [=] {
               return processor_time_of({"tar", "-C", *place / "copy", "-xf", *place / "big.tar"});
             })},
      {"the same until it is on the disk, time that passes", "cp of the same files, sync of them", 0.95, synced,
       fresh(place, "copy",
             [=] {
               return wall_time([&] {
                 processor_time_of(cp(*place, "--reflink=never"));
                 for (int i = 0; i < kParts; ++i) {
                   const Descriptor file(open((*place / ("copy/" + part_name(i))).c_str(), O_RDONLY | O_CLOEXEC));
                   must(fsync(file.get()) == 0, "not synced");
                 }
               });
             })},
  };
}

/// A bundle whose payloads start at blocks.
void make_aligned(const Place& place) {
  const std::string bytes = content();
  std::vector<pack::Object> parts;
  for (int i = 0; i < kParts; ++i) parts.push_back(pack::image_file(part_name(i), bytes));
  pack::Container container = pack::bundle(std::move(parts));
  pack::align(container, 4096);
  pack::write_file(container, place / "big");
}

/// Cost does not depend on the size where blocks are shared.
Row clone_row() {
  const std::string work = "the same from an aligned bundle, blocks shared", against = "cp --reflink=never";
  const char* const sharing = std::getenv("COUPLER_BENCH_SHARING");
  if (sharing == nullptr) {
    return {work, against, 0.01, {}, {}, "no file system here that shares blocks (needs root and mkfs.xfs)"};
  }
  const auto place = std::make_shared<const Place>(sharing);
  make_aligned(*place);
  return {work, against, 0.01, fresh(place, "out", [=] { return processor_time([&] { unpack(*place); }); }),
          fresh(place, "copy", [=] {
            return processor_time_of({"cp", "--reflink=never", *place / "big", *place / "copy"});
          })};
}

/// Opens the bundle once and reads its heads and headers, each where it stands.
void read_heads(const std::string& bundle) {
  const Descriptor file(open(bundle.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status;
  must(fstat(file.get(), &status) == 0, "no bundle");
  orvix_object head;
  char header[4096];
  off_t at = sizeof(orvix_file_guid);
  for (int i = 0; at < status.st_size && i < 22; ++i) {
    must(pread(file.get(), &head, sizeof(head), at) == sizeof(head), "no head");
    at += sizeof(head);
    const auto length = static_cast<off_t>(orvix_desc_get_header_len(&head.desc));
    if (i >= 2 && length > 0) must(pread(file.get(), header, static_cast<size_t>(length), at) == length, "no header");
    at += length + (i < 2 ? 0 : static_cast<off_t>(orvix_desc_get_payload_len(&head.desc)));
  }
}

void often(int times, const std::function<void()>& action) {
  for (int i = 0; i < times; ++i) action();
}

Row versions_row(const Shared& place, const std::string& name, const std::string& what) {
  return {"versions of a bundle of " + what, "the same heads and headers with pread", 1.5,
          [=] {
            FirmwareInfo record;
            const std::string path = *place / name;
            return processor_time(
                [&] { often(2000, [&] { must(SCI_readFirmwareImageVersion(path.c_str(), &record) == 0, path); }); });
          },
          [=] {
            const std::string path = *place / name;
            return processor_time([&] { often(2000, [&] { read_heads(path); }); });
          }};
}

std::vector<Row> versions_rows(const Shared& place) {
  std::vector<Row> rows;
  for (const int count : {1, 5, 20}) {
    std::vector<pack::Object> parts;
    for (int i = 1; i <= count; ++i) parts.push_back(pack::text_file(part_name(i), "text"));
    const std::string name = "parts" + std::to_string(count);
    pack::write_file(pack::bundle(parts), *place / name);
    rows.push_back(versions_row(place, name, std::to_string(count) + (count == 1 ? " part" : " parts")));
  }
  rows.push_back(versions_row(place, "big", "528 MiB"));
  return rows;
}

}  // namespace

std::vector<Row> bundle_rows() {
  const auto place = std::make_shared<const Place>(directory());
  make_big(*place);
  std::vector<Row> rows = unpack_rows(place);
  rows.push_back(clone_row());
  for (const Row& row : versions_rows(place)) rows.push_back(row);
  return rows;
}

}  // namespace coupler::bench
