// Files in, one file out.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/handle.h"

namespace coupler::pack {

/// What failed, and where the reason lies: a path, a key, an offset. Of a file it gives the system's reason.
struct Error : std::runtime_error {
  explicit Error(const std::string& text, std::string at = "") : runtime_error(text), place(std::move(at)) {}
  std::string place;
};

using Sink = std::function<void(std::string_view)>;

/// A file that is looked into where it is.
class Input {
 public:
  /// @param name_for_people what messages call it; empty: its path
  /// @throws Error when that is no regular file that can be read
  explicit Input(const std::string& path, const std::string& name_for_people = "");

  /// Up to `length` bytes at `offset`; fewer where the file ends.
  std::string read(uint64_t offset, uint64_t length) const;

  /// Hands these bytes to `sink`, a bounded piece at a time. @throws Error when the file does not have them
  void copy(uint64_t offset, uint64_t length, const Sink& sink) const;

  uint64_t size = 0;
  std::string name;

 private:
  Descriptor file_;
};

/// A file without a name, gone when this is.
class Nameless {
 public:
  /// Holds what `content` hands to its sink.
  explicit Nameless(const std::function<void(const Sink&)>& content);
  /// What opens it.
  std::string path() const;

 private:
  coupler::File file_;
};

/// What opens the file that a person named: the name itself, or for "-" what standard input held.
/// @throws Error when it cannot be read
std::string readable(const std::string& name);

using Lines = std::vector<std::string>;

std::string joined(const Lines& lines, std::string_view separator);

/// The file's lines. @throws Error when it cannot be read
Lines lines_of(const std::string& path);

/// Fails when `out` is one of the `inputs`, by whatever name.
void refuse_overwriting(const std::filesystem::path& out, const std::vector<std::filesystem::path>& inputs);

/// Writes the file `path`, whole or not at all, with what `content` hands to its sink. What stood there is replaced.
void write_whole(const std::filesystem::path& path, const std::function<void(const Sink&)>& content);

}  // namespace coupler::pack
