// Files that are looked into where they are, and standard input kept so that it can be.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/handle.h"

namespace coupler::tools {

/// A file without a name, gone when this is.
class Nameless {
 public:
  Nameless();
  void write(std::string_view bytes);
  /// What opens it, once all is written.
  std::string path() const;

 private:
  File file_;
};

/// What opens the file that a person named: the name itself, or for "-" what standard input held.
std::string readable(const std::string& name);

using Lines = std::vector<std::string>;

/// The file's lines. @throws Failure when it cannot be read
Lines lines_of(const std::string& path);

class Input {
 public:
  /// @throws Failure when `name` is no regular file that can be read
  explicit Input(const std::string& name);

  /// Up to `length` bytes at `offset`; fewer where the file ends.
  std::string read(uint64_t offset, uint64_t length) const;

  /// Hands these bytes to `sink`, a bounded piece at a time. @throws Failure when the file does not have them
  void copy(uint64_t offset, uint64_t length, const std::function<void(std::string_view)>& sink) const;

  uint64_t size = 0;
  std::string name;

 private:
  [[noreturn]] void fail(const std::string& why) const;

  Descriptor file_;
};

}  // namespace coupler::tools
