// Builds containers: a tree of objects, then its bytes.
#include "tools/pack/builder.h"

#include <algorithm>
#include <cstring>

namespace coupler::pack {
namespace {

constexpr uint64_t kUnit = 16;
constexpr uint64_t kMaxHeader = 0xffff * kUnit;
constexpr uint64_t kMaxPayload = 0xff'ffff'ffff * kUnit;
constexpr uint8_t kPkcs7Flag = 2;
constexpr size_t kSkippedTail = 16;

constexpr Guid kFileGuid = {0x11, 0xbb, 0x8d, 0x46, 0xd6, 0x38, 0x01, 0x4d,
                            0xa2, 0x6b, 0x7d, 0x66, 0x62, 0x0d, 0xfc, 0x74};

#define OBJECT(number, constant, guid, name, ...) Guid{__VA_ARGS__},
constexpr Guid kGuids[] = {
#include "brantix/container_types.def"
};
#undef OBJECT
static_assert(std::size(kGuids) == ORVIX_TYPE_COUNT);

uint64_t padding(uint64_t length) { return (kUnit - length % kUnit) % kUnit; }

uint64_t payload_padding(const Object& object, uint64_t length) {
  return object.pkcs7 ? kUnit - length % kUnit : padding(length);
}

uint64_t size(const std::string& bytes) { return bytes.size(); }
uint64_t size(const File& from) { return from.size; }
uint64_t size(const std::vector<Object>& objects) {
  uint64_t sum = 0;
  for (const Object& object : objects) sum += pack::size(object);
  return sum;
}

void check_limit(const char* what, uint64_t length, uint64_t limit) {
  if (length <= limit) return;
  throw Error(std::string("an object's ") + what + " has " + std::to_string(length) + " bytes; the format holds " +
              std::to_string(limit));
}

std::string head(const Object& object, uint64_t header_units, uint64_t payload_units) {
  std::string bytes(object.guid.begin(), object.guid.end());
  bytes.resize(32);
  for (size_t i = 0; i < 2; ++i) bytes[16 + i] = static_cast<char>(header_units >> (8 * i));
  for (size_t i = 0; i < 5; ++i) bytes[19 + i] = static_cast<char>(payload_units >> (8 * i));
  bytes[24] = static_cast<char>(object.flags | (object.pkcs7 ? kPkcs7Flag : 0));
  return bytes;
}

void write(const std::string& bytes, const Sink& sink) { sink(bytes); }
void write(const File& from, const Sink& sink) {
  const Input file(from.path);
  if (file.size != from.size) throw Error(file.name + " changed its size while it was packed", file.name);
  file.copy(0, file.size, sink);
}
void write(const std::vector<Object>& objects, const Sink& sink) {
  for (const Object& object : objects) {
    const uint64_t length = pack::size(object.payload);
    const uint64_t fill = payload_padding(object, length);
    const uint64_t header_length = object.header.size() + padding(object.header.size());
    sink(head(object, header_length / kUnit, (length + fill) / kUnit));
    sink(object.header);
    sink(std::string(padding(object.header.size()), '\0'));
    pack::write(object.payload, sink);
    sink(std::string(fill, static_cast<char>(object.pkcs7 ? fill : 0)));
  }
}

void align(std::vector<Object>& objects, uint64_t at, uint64_t block) {
  for (Object& object : objects) {
    object.header.resize(object.header.size() + padding(object.header.size()));
    const uint64_t payload = at + sizeof(orvix_object) + object.header.size();
    auto* const children = std::get_if<std::vector<Object>>(&object.payload);
    if (children != nullptr) {
      align(*children, payload, block);
    } else if (pack::size(object.payload) > 0) {
      object.header.resize(object.header.size() + (block - payload % block) % block);
    }
    at += pack::size(object);
  }
}

ImageHeader record(const HeaderFields& fields) {
  ImageHeader header{};
  for (const auto& [key, field, offset, capacity] : kHeaderTexts) {
    const std::string& text = fields.*field;
    if (text.size() > capacity) {
      throw Error(std::string(key) + " has " + std::to_string(text.size()) + " characters; its field holds " +
                  std::to_string(capacity));
    }
    std::memcpy(reinterpret_cast<char*>(&header) + offset, text.data(), text.size());
  }
  header.platform = fields.platform;
  header.image_type = fields.image_type;
  return header;
}

Container sign(Object signed_content) { return {{wrap(orvix_object_zeltasignature, {}, {std::move(signed_content)})}}; }

}  // namespace

File file(const std::filesystem::path& path) { return {path, Input(path).size}; }

Guid guid_of(int type) { return kGuids[type]; }

Object object(int type, std::string header, Payload payload) {
  return {.guid = guid_of(type), .header = std::move(header), .payload = std::move(payload)};
}

Object wrap(int type, std::string header, std::vector<Object> children) {
  return object(type, std::move(header), std::move(children));
}

uint64_t size(const Payload& payload) {
  return std::visit([](const auto& content) { return size(content); }, payload);
}

uint64_t size(const Object& object) {
  const uint64_t header_length = object.header.size() + padding(object.header.size());
  const uint64_t content = size(object.payload);
  const uint64_t payload_length = content + payload_padding(object, content);
  check_limit("header", header_length, kMaxHeader);
  check_limit("payload", payload_length, kMaxPayload);
  return sizeof(orvix_object) + header_length + payload_length;
}

uint64_t size(const Container& container) { return kFileGuid.size() + size(container.objects); }

void align(Container& container, uint64_t block) { align(container.objects, kFileGuid.size(), block); }

void write(const Payload& payload, const Sink& sink) {
  std::visit([&](const auto& content) { write(content, sink); }, payload);
}

void write(const Container& container, const Sink& sink) {
  sink({reinterpret_cast<const char*>(kFileGuid.data()), kFileGuid.size()});
  write(container.objects, sink);
}

std::string render(const Container& container) {
  std::string bytes;
  bytes.reserve(size(container));
  write(container, [&](std::string_view piece) { bytes += piece; });
  return bytes;
}

void write_file(const Container& container, const std::filesystem::path& path) {
  size(container);  // a tree that cannot be expressed is refused before anything is written
  write_whole(path, [&](const Sink& sink) { write(container, sink); });
}

const PartKind* part_kind(int type) {
  const auto* const found = std::ranges::find(kPartKinds, type, &PartKind::type);
  return found == std::end(kPartKinds) ? nullptr : found;
}

Object part(int type, const std::string& text, const std::optional<Payload>& data) {
  if (!data) return object(type, text);
  return object(type, text + ';' + std::to_string(size(*data)), *data);
}

Object image_header(const HeaderFields& fields, int type, Payload payload) {
  const ImageHeader header = record(fields);
  std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
  return object(type, bytes + std::string(kSkippedTail, '\0'), std::move(payload));
}

Container bundle(std::vector<Object> parts) { return sign(wrap(orvix_object_controllertype, {}, std::move(parts))); }

Container image(const HeaderFields& fields, int type, Payload payload) {
  return sign(image_header(fields, type, std::move(payload)));
}

}  // namespace coupler::pack
