// What is to be packed, read from JSON.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/pack/builder.h"

/// What is to be packed, as a JSON text. A bundle lists its parts:
///
///     {"parts": [{"type": "image-header", "version": "4.2(1)", "filename": "fw.img", "platform": 3},
///                {"type": "rommon", "version": "1.0.5", "file": "rommon.bin"},
///                {"type": "image", "name": "fw.img", "image": {"header": {"version": "4.2(1)"}}},
///                {"type": "text", "name": "readme.txt", "file": "readme.txt"}]}
///
/// Firmware parts (rommon, ssd, fpga, pseq, lan-spi) have a version, image and text parts a name. The content is a
/// file, or for an image part another manifest under "image"; a part without content has no size. "header_size"
/// fills a part's header up with zeros. An image has a header:
///
///     {"header": {"version": "4.2(1)", "filename": "fw.img"}, "nesting": "image-type", "file": "payload.bin"}
///
/// Its nesting is image-type (where nothing is said) or bundle-type, both with an optional file as payload, or
/// controller, with optional parts behind the header. SSD firmware has the models that it is for:
///
///     {"identification": "QRV", "models": ["MZ240HBLS"], "version": "HXT7405Q", "file": "drive.bin"}
///
/// Relative paths start at the manifest's own directory.
namespace coupler::pack {

enum class Kind { kBundle, kImage, kSsdFile };

struct Manifest {
  std::string head;  ///< of an SSD firmware file: what stands before the body
  Payload body;
  std::vector<std::filesystem::path> files;  ///< what it is made from; of one that was read, the manifest's own too
  std::vector<std::string> warnings;         ///< what can be packed, but will not be read as it may be meant

  uint64_t size() const { return head.size() + pack::size(body); }
  void write(const Sink& sink) const;
};

/// @throws Error that names the key, what is wrong with it and what would be right
Manifest parse_manifest(Kind kind, const std::string& text, const std::filesystem::path& directory);

/// As above, for a file, or standard input where it is "-"; the error begins with its path.
Manifest read_manifest(Kind kind, const std::filesystem::path& path);

}  // namespace coupler::pack
