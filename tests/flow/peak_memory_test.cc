// Unpacking takes no more memory for a larger bundle.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "brantix/firmware.h"
#include "tests/common/files.h"
#include "tools/pack/builder.h"

namespace {

using namespace coupler;

constexpr size_t kPartSize = size_t{32} << 20;
constexpr int kParts = 4;

/// Highest resident memory of this process since the last `forget_peak`, in KiB.
long peak() {
  const std::string status = test::read_file("/proc/self/status");
  return std::stol(status.substr(status.find("VmHWM:") + 6));
}

void forget_peak() { std::ofstream("/proc/self/clear_refs") << 5; }

// The parts have one name, so that only one of them is there at a time.
TEST(PeakMemoryTest, DoesNotGrowWithTheBundle) {
  const test::ScratchDirectory directory;
  const std::string bundle = directory / "bundle", part = directory / "part", out = directory / "part.out";
  test::write_file(part, std::string(kPartSize, 'p'));
  std::ofstream file(bundle, std::ios::binary);
  pack::write(pack::bundle(std::vector(kParts, pack::text_file("part.out", pack::file(part)))),
              [&](std::string_view piece) { file << piece; });
  file.close();
  FirmwareInfo record;
  forget_peak();
  const long before = peak();
  ASSERT_EQ(SCI_extractFirmwareImagePayload(bundle.c_str(), &record, directory.path().c_str()), 0);
  EXPECT_LT(peak() - before, 8 * 1024) << "KiB";
  EXPECT_EQ(record.imageCount, kParts);
  EXPECT_EQ(std::filesystem::file_size(out), kPartSize);
}

}  // namespace
