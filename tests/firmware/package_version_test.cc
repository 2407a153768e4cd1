#include "firmware/package_version.h"

#include <gtest/gtest.h>

namespace coupler::firmware {
namespace {

TEST(PackageVersion, FollowsTheBoard) {
  struct {
    int board;
    const char* rommon;
    const char* fpga;
    const char* pseq;
    const char* package;
    bool valid = true;
  } rows[] = {
      {1, "1.2.3", "1.08.00", "2.5", "123.0108.0205"},
      {1, "1.2.3", "1.08.00", "123.-5", "123.0108.123-5"},
      {1, "1.2.3", "1..00", ".", "123.0100.0000"},
      {1, "1.2.3", "1.08.00", "2", "123.", false},
      {1, "1.2.3", "1.08.00", "2.5.1", "123.", false},
      {1, "1.2.3", "1.8.9.1.2.3", "2.5", "123.", false},
      {1, "1.2.3", "9999999999.00", "-9999999999.1.2", "123.2147483647-2147483648.0102"},
      {2, "1.2.3", "2.03.00", "2.5", "123.0203"},
      {3, "1.2.3", "12.345.00", "2.5", "123.12345"},
      {2, "1.2.3", "2.3.4.00", "2.5", "123.0203"},
      {2, "1.2.3", "20300", "2.5", "123."},
      {2, "1.2.3", "x.y00", "", "123.0000"},
      {4, "1.2.3", "2.03.00", "2.5", "123."},
      {0, "", "2.03.00", "2.5", "."},
      {1, "1.2.3", "00", "2.5", ""},
      {2, "1.2.3", "", "2.5", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.board) + " " + row.fpga + " " + row.pseq);
    char package[64] = "old";
    EXPECT_EQ(compose_package_version(row.board, row.rommon, row.fpga, row.pseq, package), row.valid);
    EXPECT_STREQ(package, row.package);
  }
}

TEST(PackageVersion, IsCutToItsField) {
  const std::string full(63, '7');
  char package[64];
  EXPECT_TRUE(compose_package_version(2, full.c_str(), "2.03.00", "", package));
  EXPECT_EQ(package, full);
  EXPECT_TRUE(compose_package_version(2, full.substr(3).c_str(), "2.03.00", "", package));
  EXPECT_EQ(package, full.substr(3) + ".02");
  EXPECT_FALSE(compose_package_version(1, "1", (full.substr(2) + "00").c_str(), "1.2.3.4", package));
}

}  // namespace
}  // namespace coupler::firmware
