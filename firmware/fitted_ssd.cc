// Reads the model of the fitted SSD from the report that the drive was asked for.
#include "firmware/fitted_ssd.h"

#include <cstring>
#include <mutex>
#include <optional>

#include "brantix/firmware.h"
#include "support/handle.h"
#include "support/lines.h"
#include "support/text.h"

char equipped_ssd_model_num[24] = "";

namespace coupler::firmware {
namespace {

using Model = std::array<char, sizeof(equipped_ssd_model_num)>;

std::mutex model_lock;

// The last word of the report's second line, whose last character counts as its line end.
std::optional<Model> reported_model() {
  const Descriptor report = open_at_once(kSsdReport, O_RDONLY);
  LinesOf<4096> lines(report.get());
  if (!lines.next_line()) return std::nullopt;
  const auto line = lines.next_line();
  if (!line) return std::nullopt;
  std::string_view words = line->substr(0, std::max<size_t>(line->size(), 1) - 1);
  std::optional<Model> model;
  for (auto word = take_word(words, "_ "); !word.empty(); word = take_word(words, "_ ")) {
    model.emplace();
    Text(model->data(), model->size()).fill(word);
  }
  return model;
}

// The host may read the text at any time without a lock, so an unchanged one is not touched.
void set_model(const Model& model) {
  const std::lock_guard lock(model_lock);
  if (std::memcmp(equipped_ssd_model_num, model.data(), model.size()) == 0) return;
  std::memcpy(equipped_ssd_model_num, model.data(), model.size());
}

}  // namespace

std::array<char, 24> fitted_ssd_model() {
  Model model;
  const std::lock_guard lock(model_lock);
  std::memcpy(model.data(), equipped_ssd_model_num, model.size());
  return model;
}

}  // namespace coupler::firmware

void get_equipped_ssd_modelNumber(void) {
  if (const auto model = coupler::firmware::reported_model()) coupler::firmware::set_model(*model);
}
