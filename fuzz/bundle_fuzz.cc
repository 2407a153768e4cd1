// A bundle, as a file and in memory, unpacked and only asked for its versions: texts end inside their fields, and no
// file is written but in the two directories.
#include "fuzz/fuzz.h"
#include "support/handle.h"

namespace coupler::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char *kBundle = "/tmp/place/bundle", *kOut = "/tmp/place/out";
constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";

/// Reads into fields of which some are small, so that most texts are cut.
void read(std::FILE* bundle, size_t size, const char* directory) {
  constexpr int kEntries = 3, kEntrySize = 10;
  const Exactly header(576), package(64), rommon(64), fpga(8), pseq(1), lan(2), ssd(64), list(2 * 64 + kEntrySize);
  size_t header_length = 0;
  int count = 0;
  const int32_t result = extract_fw_info(bundle, static_cast<uint32_t>(size), 0, header.data(), header.size(),
                                         &header_length, package.data(), package.size(), rommon.data(), rommon.size(),
                                         fpga.data(), fpga.size(), pseq.data(), pseq.size(), lan.data(), lan.size(),
                                         ssd.data(), ssd.size(), directory, &count, list.data(), kEntries, kEntrySize);
  require(result == 0 || result == -1);
  require(header_length <= header.size() && count >= 0 && count <= 20);
  for (const Exactly* field : {&package, &rommon, &fpga, &pseq, &lan, &ssd}) require(field->is_terminated());
  for (int i = 0; i < kEntries; ++i) require(std::memchr(list.data() + 64 * i, '\0', kEntrySize) != nullptr);
}

/// Requires that all is as it was but inside the two directories, where everything is a file, and empties them.
void check_and_clear() {
  require(names_in("/tmp/place") == "bundle out");
  require(names_in("/mnt/boot") == "equipped_ssd_firmware ssd_firmwares");
  for (const char* place : {kOut, kSsdDirectory}) {
    for (const auto& entry : fs::directory_iterator(place)) require(entry.is_regular_file() && fs::remove(entry));
  }
}

}  // namespace

void try_input(const std::string& bytes) {
  if (bytes.empty()) return;
  write_file(kBundle, bytes);
  for (const char* directory : {kOut, kSsdDirectory}) fs::create_directories(directory);
  std::string in_memory = bytes;
  const File files[] = {open_for_reading(kBundle), File(fmemopen(in_memory.data(), in_memory.size(), "rb"))};
  for (const File& file : files) {
    for (const char* directory : {static_cast<const char*>(nullptr), kOut}) {
      read(file.get(), bytes.size(), directory);
      check_and_clear();
    }
  }
}

}  // namespace coupler::fuzz
