// Builds containers: a tree of objects, then its bytes.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "brantix/container.h"
#include "tools/pack/files.h"

/// Builds containers: first a tree of objects, which holds files by name only, then its bytes, written in one pass.
/// Nothing is checked here but what the format cannot express, so that damaged containers can be built too.
namespace coupler::pack {

struct Object;

/// A file whose content becomes a payload. It is read while the container is written.
struct File {
  std::filesystem::path path;
  uint64_t size = 0;
};

/// The file GUID and the objects behind it.
struct Container {
  std::vector<Object> objects;
};

using Payload = std::variant<std::string, File, std::vector<Object>, Container>;
using Guid = std::array<uint8_t, 16>;

/// Header and payload are padded with zero bytes to a multiple of 16.
struct Object {
  Guid guid{};
  std::string header = {};
  Payload payload = {};
  uint8_t flags = 0;
  bool pkcs7 = false;  ///< pads the payload with 1 to 16 bytes, each their number, and sets the flag that says so
};

Guid guid_of(int type);

/// @throws Error when `path` is not a regular file
File file(const std::filesystem::path& path);

Object object(int type, std::string header = {}, Payload payload = {});
Object wrap(int type, std::string header, std::vector<Object> children);

// What is in it, in bytes; a payload without its padding, objects and containers with everything.
uint64_t size(const Payload& payload);
uint64_t size(const Object& object);
uint64_t size(const Container& container);

/// Fills headers up with zeros, which readers do not see, so that every payload of bytes starts at a multiple of
/// `block` (itself one of 16): a file system can then share the blocks of what is unpacked. A container that is a
/// payload is not changed, since a header before it tells its size.
void align(Container& container, uint64_t block);

void write(const Payload& payload, const Sink& sink);
void write(const Container& container, const Sink& sink);
std::string render(const Container& container);

/// Writes it as the file `path`, whole or not at all.
void write_file(const Container& container, const std::filesystem::path& path);

/// A kind of part whose header has a text: its version, or its name.
struct PartKind {
  std::string_view name;  ///< in manifests
  int type;
  const char* text;    ///< what a manifest calls the text before the size
  const char* prefix;  ///< of the file that it becomes by unpacking; one of SSD firmware has its own folder

  bool is_named() const { return *prefix == '\0'; }
};
constexpr PartKind kPartKinds[] = {
    {"rommon", orvix_object_firmware, "version", "rommon-"},
    {"ssd", orvix_object_ssd, "version", "/ssd-"},
    {"fpga", orvix_object_firmwarehub, "version", "fpga-"},
    {"pseq", orvix_object_firmwareimageone, "version", "PowerSequencer-"},
    {"lan-spi", orvix_object_firmwareimagetwo, "version", "LanSpi-"},
    {"image", orvix_object_imagefile, "name", ""},
    {"text", orvix_object_textfile, "name", ""},
};
/// @return the kind of that object type; null for another type
const PartKind* part_kind(int type);

// How far readers look.
constexpr size_t kMostParts = 20;
constexpr size_t kMostNames = 8;
constexpr size_t kLongestName = 63;  // they keep names and versions in 64 bytes

// The parts of a bundle. A part without data has a version or a name, and no size.

Object part(int type, const std::string& text, const std::optional<Payload>& data = {});

/// Makes parts of one type.
struct PartOf {
  int type;
  Object operator()(const std::string& text, const std::optional<Payload>& data = {}) const {
    return part(type, text, data);
  }
};
constexpr PartOf rommon{orvix_object_firmware}, ssd{orvix_object_ssd}, fpga{orvix_object_firmwarehub},
    pseq{orvix_object_firmwareimageone}, lan_spi{orvix_object_firmwareimagetwo}, image_file{orvix_object_imagefile},
    text_file{orvix_object_textfile};

/// The fields of an image header. A text that fills its field leaves no room for a terminator, which the format allows.
struct HeaderFields {
  std::string build_date = {};
  std::string version = {};
  std::string platform_version = {};
  std::string interim_version = {};
  std::string filename = {};
  std::string software_id = {};
  std::string image_size = {};
  uint8_t platform = 0;
  uint8_t image_type = 0;
};

/// The texts of an image header: what a manifest calls them, and where they stand in the record.
struct HeaderText {
  const char* key;
  std::string HeaderFields::*field;
  size_t offset;
  size_t capacity;
};
#define TEXT(name) \
  { #name, &HeaderFields::name, offsetof(ImageHeader, name), sizeof(ImageHeader::name) }
constexpr HeaderText kHeaderTexts[] = {TEXT(build_date),  //
                                       TEXT(version),     //
                                       TEXT(platform_version), TEXT(interim_version), TEXT(filename),
                                       TEXT(software_id),      TEXT(image_size)};
#undef TEXT

/// An object whose header is an image header: the record, then 16 bytes that readers leave out.
///
/// @throws Error when a text is longer than its field
Object image_header(const HeaderFields& fields, int type = orvix_object_imageheader, Payload payload = {});

/// Signature object, controller-type object, parts.
Container bundle(std::vector<Object> parts);

/// Signature object, then an object of `type` (22 or 23) whose header is the image header. An image that is nested the
/// other way is a bundle that begins with an `image_header`.
Container image(const HeaderFields& fields, int type = orvix_object_imagetype, Payload payload = {});

}  // namespace coupler::pack
