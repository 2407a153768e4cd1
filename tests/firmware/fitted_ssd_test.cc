#include "firmware/fitted_ssd.h"

#include "brantix/container.h"
#include "support/text.h"
#include "tests/common/appliance.h"

namespace coupler::firmware {
namespace {

using FittedSsdTest = test::ApplianceTest;

TEST_F(FittedSsdTest, IsTheLastWordOfTheSecondLine) {
  struct {
    const char* what;
    const char* report;
    const char* model;
  } rows[] = {
      {"two words", "HXT7404Q\nXM_MZ7LH240 HBLS\n", "HBLS"},
      {"one word", "HXT7404Q\nMZ240\n", "MZ240"},
      {"separators in a row and at the end", "HXT7404Q\n_XM__MZ7 _\n", "MZ7"},
      {"longer than its buffer", "HXT7404Q\nXM_ABCDEFGHIJKLMNOPQRSTUVWXYZ\n", "ABCDEFGHIJKLMNOPQRSTUVW"},
      {"the last character is the line end, whatever it is", "HXT7404Q\nMZ240", "MZ24"},
      {"nothing but separators", "HXT7404Q\n_ _\n", "before and longer"},
      {"empty line", "HXT7404Q\n\n", "before and longer"},
      {"no second line", "HXT7404Q\n", "before and longer"},
      {"empty file", "", "before and longer"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    test::write_file(kSsdReport, row.report);
    Text(equipped_ssd_model_num).fill("before and longer");
    get_equipped_ssd_modelNumber();
    std::string whole = row.model;
    whole.resize(sizeof(equipped_ssd_model_num));
    EXPECT_EQ(std::string(equipped_ssd_model_num, sizeof(equipped_ssd_model_num)), whole);
  }
  std::filesystem::remove(kSsdReport);
  get_equipped_ssd_modelNumber();
  EXPECT_STREQ(equipped_ssd_model_num, "before and longer");
}

}  // namespace
}  // namespace coupler::firmware
