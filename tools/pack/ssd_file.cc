// Builds SSD firmware files.
#include "tools/pack/ssd_file.h"

#include "tools/pack/files.h"

namespace coupler::pack {
namespace {

size_t room_behind(const std::string& text, size_t size) {
  if (text.size() <= size) return size - text.size();
  throw Error('"' + text + "\" has " + std::to_string(text.size()) + " characters; its field holds " +
              std::to_string(size));
}

std::string padded(const std::string& text, size_t size = kSsdField) {
  return std::string(room_behind(text, size), '0') + text;
}

// Readers search the list as one text, which a zero byte would end.
std::string list(const std::vector<std::string>& models) {
  std::string text;
  for (const std::string& model : models) text += model + std::string(room_behind(model, kSsdField), ' ');
  return text;
}

}  // namespace

std::string ssd_head(const SsdFirmware& firmware, uint64_t size) {
  const size_t count = firmware.models.size();
  if (count > kMostSsdModels) throw Error("a list of " + std::to_string(count) + " models; the format holds 99");
  return "0001" + padded(firmware.identification) + std::string(kSsdField, '0') + padded(std::to_string(count), 2) +
         list(firmware.models) + padded(firmware.version) + padded(std::to_string(size));
}

void write_ssd_file(const SsdFirmware& firmware, const File& binary, const std::filesystem::path& path,
                    const Progress& progress) {
  write_whole(path, [&](const Sink& sink) {
    uint64_t done = 0;
    sink(ssd_head(firmware, binary.size));
    copy(binary, [&](std::string_view piece) {
      sink(piece);
      done += piece.size();
      if (progress) progress(done);
    });
  });
}

}  // namespace coupler::pack
