// The parts of a firmware bundle: their kinds, the texts in their headers, and their files.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "container/file.h"
#include "firmware/bundle.h"
#include "frame/message.h"
#include "support/file_name.h"

namespace coupler::firmware {

constexpr const char* kWalk = "extract_fw_info";  // the operation under which the walk logs

/// A part where it stands in the bundle.
struct Part {
  Part(std::FILE* in, const container::Object& found)
      : bundle(in), object(found), payload_length(found.head.payload_length()) {}

  uint64_t end() const { return object.payload_at() + payload_length; }

  std::FILE* bundle;
  container::Object object;
  uint64_t payload_length;
};

/// The kinds of firmware part that a bundle carries, one row per type.
struct FirmwareKind {
  int type;
  LogMessage<const char*, const char*> trace;  // the operation and the header's text
  Text BundleOutputs::*version;
  const char* file_prefix;      // of the part's file, before its version
  const char* fixed_directory;  // where its file goes in any case; null: to the output directory, if there is one
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
  int64_t size() const;  // of a text that has one

 private:
  explicit PartText(std::unique_ptr<char[]> text);

  std::unique_ptr<char[]> text_;
  size_t name_length_;
};

enum class Written { kYes, kMalformed, kUnwritable };

/// Makes the file of `part`, its payload's first `text.size()` bytes; bytes that the bundle lacks are zero. A file that
/// is in place byte for byte is not written again.
Written write_part(const Part& part, const PartText& text, const char* directory, std::optional<FileName> name);

/// Logs why the file at `path` could not be written, from errno.
void log_unwritable(const char* path);

}  // namespace coupler::firmware
