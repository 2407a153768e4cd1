#include "firmware/fitted_ssd.h"

#include "brantix/firmware.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/text.h"

char equipped_ssd_model_num[24] = "";

void get_equipped_ssd_modelNumber(void) {
  using namespace coupler;
  const File report = open_for_reading(firmware::kSsdReport);
  LineReader lines(report.get());
  if (!lines.next()) return;
  const auto line = lines.next();
  if (!line) return;
  std::string_view model = line->substr(0, line->size() - 1);
  for (auto word = take_word(model, "_ "); !word.empty(); word = take_word(model, "_ ")) {
    Text(equipped_ssd_model_num).fill(word);
  }
}
