#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "container/format.h"
#include "support/file_name.h"

/// The parts of a firmware bundle.
namespace coupler::firmware {

constexpr const char* kWalk = "extract_fw_info";  // the operation under which the walk logs

/// A part where it stands in the bundle.
struct Part {
  std::FILE* bundle;
  uint64_t position;  // of the part's head
  container::ObjectHead head;

  uint64_t header_at() const { return position + container::kHeadSize; }
  uint64_t payload_at() const { return header_at() + head.header_length; }
  uint64_t end() const { return payload_at() + head.payload_length; }
};

/// The kinds of firmware part that a bundle carries, one row per type.
struct FirmwareKind {
  int type;
  size_t version;               // index of the version that it reports
  const char* file_prefix;      // of the part's file, before its version
  const char* fixed_directory;  // where its file goes in any case; null: to the output directory, if there is one
  void (*trace)(const char* header);
};

/// @return the row of `type`, or null
const FirmwareKind* firmware_kind(int type);

/// The text in a part's header: NAME or NAME;SIZE.
class PartText {
 public:
  /// Reads the header of `part`. @return nothing when it cannot be read
  static std::optional<PartText> read(const Part& part);

  const char* whole() const { return text_.get(); }
  std::string_view name() const { return {text_.get(), name_length_}; }
  bool has_size() const { return text_[name_length_] == ';'; }
  int64_t size() const;

 private:
  explicit PartText(std::unique_ptr<char[]> text);

  std::unique_ptr<char[]> text_;
  size_t name_length_;
};

enum class Written { kYes, kMalformed, kUnwritable };

/// Writes the file of `part`, its payload's first `text.size()` bytes. Bytes that the bundle lacks are zero.
Written write_part(const Part& part, const PartText& text, const char* directory, std::optional<FileName> name);

/// Logs why the file at `path` could not be written, from errno.
void log_unwritable(const char* path);

}  // namespace coupler::firmware
