#include "firmware/fitted_ssd.h"

#include "brantix/firmware.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/text.h"

char equipped_ssd_model_num[24] = "";

void get_equipped_ssd_modelNumber(void) {
  using namespace coupler;
  const Descriptor report = open_at_once(firmware::kSsdReport, O_RDONLY);
  LinesOf<4096> lines(report.get());
  if (!lines.next_line()) return;
  const auto line = lines.next_line();
  if (!line) return;
  std::string_view model = line->substr(0, line->size() - 1);
  for (auto word = take_word(model, "_ "); !word.empty(); word = take_word(model, "_ ")) {
    Text(equipped_ssd_model_num).fill(word);
  }
}
