// A bundle, as a file and in memory, unpacked and only asked for its versions: texts end inside their fields, and no
// file is written but in the two directories.
#include <sys/stat.h>

#include "brantix/container.h"
#include "fuzz/fuzz.h"
#include "support/handle.h"
#include "tests/common/files.h"
#include "tests/common/silent_host.h"

namespace {

namespace fs = std::filesystem;
using namespace coupler::fuzz;
using namespace coupler::test;

constexpr const char* kSsdDirectory = "/mnt/boot/ssd_firmwares";

/// The caller's fields; some are small, so that most texts are cut.
class Fields {
 public:
  int32_t read(std::FILE* bundle, size_t size, const char* directory) {
    const auto end = static_cast<uint32_t>(size);
    return extract_fw_info(bundle, end, 0, header_.data(), header_.size(), &header_length_, package_.data(),
                           package_.size(), rommon_.data(), rommon_.size(), fpga_.data(), fpga_.size(), pseq_.data(),
                           pseq_.size(), lan_.data(), lan_.size(), ssd_.data(), ssd_.size(), directory, &count_,
                           list_.data(), kEntries, kEntrySize);
  }
  void check(int32_t result) const {
    require(result == 0 || result == -1);
    require(header_length_ <= header_.size() && count_ >= 0 && count_ <= 20);
    for (const Exactly* field : {&package_, &rommon_, &fpga_, &pseq_, &lan_, &ssd_}) require(field->is_terminated());
    for (int i = 0; i < kEntries; ++i) require(std::memchr(list_.data() + 64 * i, '\0', kEntrySize) != nullptr);
  }

 private:
  static constexpr int kEntries = 3;
  static constexpr int kEntrySize = 10;

  Exactly header_{576}, package_{64}, rommon_{64}, fpga_{8}, pseq_{1}, lan_{2}, ssd_{64};
  Exactly list_{2 * 64 + kEntrySize};
  size_t header_length_ = 0;
  int count_ = 0;
};

/// A folder of ours: the bundle, a neighbour that must not change, and the output directory.
class Place {
 public:
  Place() {
    fs::create_directories(out_);
    fs::create_directories(kSsdDirectory);
    write_file(neighbour_, "neighbour");
  }

  const std::string& bundle() const { return bundle_; }
  const char* out() const { return out_.c_str(); }

  /// Requires that all is as it was but inside the two directories, where everything is a file, and empties them.
  void check_and_clear() const {
    require(names_in(directory_.path()) == "bundle neighbour out" && read_file(neighbour_) == "neighbour");
    require(names_in("/mnt/boot") == "equipped_ssd_firmware ssd_firmwares");
    for (const fs::path& place : {fs::path(out_), fs::path(kSsdDirectory)}) {
      for (const auto& entry : fs::directory_iterator(place)) {
        require(entry.is_regular_file() && fs::remove(entry));
      }
    }
  }

 private:
  const ScratchDirectory directory_;
  const std::string bundle_ = directory_ / "bundle";
  const std::string neighbour_ = directory_ / "neighbour";
  const std::string out_ = directory_ / "out";
};

void read(std::FILE* bundle, size_t size, const Place& place) {
  for (const char* directory : {static_cast<const char*>(nullptr), place.out()}) {
    Fields fields;
    fields.check(fields.read(bundle, size, directory));
    place.check_and_clear();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const SilentHost host;
  static const Place place;
  if (size == 0) return 0;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  write_file(place.bundle(), bytes);
  read(coupler::open_for_reading(place.bundle().c_str()).get(), size, place);
  read(coupler::File(fmemopen(bytes.data(), size, "rb")).get(), size, place);
  return 0;
}
