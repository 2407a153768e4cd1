#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "brantix/firmware.h"
#include "support/handle.h"
#include "tests/common/files.h"
#include "tools/pack/builder.h"

namespace {

using namespace coupler;
using namespace coupler::test;

constexpr uint64_t kPartSize = uint64_t{256} << 20;
constexpr int kParts = 4;

/// Highest resident memory of this process since the last `forget_peak`, in KiB.
long peak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  return 0;
}

void forget_peak() { std::ofstream("/proc/self/clear_refs") << 5; }

/// Writes the container with holes, which need no memory, for its payloads; nothing else of it comes in long pieces.
void write_sparse(const pack::Container& container, const std::string& path) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  off_t at = 0;
  pack::write(container, [&](std::string_view piece) {
    const bool hole = piece.size() >= 4096;
    ASSERT_TRUE(hole || pwrite(file.get(), piece.data(), piece.size(), at) == ssize(piece));
    at += ssize(piece);
  });
  ASSERT_EQ(ftruncate(file.get(), at), 0);
}

// The parts have one name, so that only one of them is there at a time.
TEST(PeakMemoryTest, DoesNotGrowWithTheBundle) {
  const ScratchDirectory directory;
  struct statvfs place;
  statvfs(directory.path().c_str(), &place);
  if (place.f_bavail * place.f_frsize < 2 * kParts * kPartSize) GTEST_SKIP() << "needs 2 GiB under /tmp";
  write_file(directory / "zeros", "");
  ASSERT_EQ(truncate((directory / "zeros").c_str(), kPartSize), 0);
  const pack::File zeros = pack::file(directory / "zeros");
  write_sparse(pack::bundle(std::vector(kParts, pack::text_file("zeros.out", zeros))), directory / "bundle");

  FirmwareInfo record;
  forget_peak();
  const long before = peak();
  ASSERT_EQ(SCI_extractFirmwareImagePayload((directory / "bundle").c_str(), &record, directory.path().c_str()), 0);
  EXPECT_LT(peak() - before, 8 * 1024) << "KiB";
  EXPECT_EQ(record.imageCount, kParts);
  EXPECT_EQ(std::filesystem::file_size(directory / "zeros.out"), kPartSize);
}

}  // namespace
