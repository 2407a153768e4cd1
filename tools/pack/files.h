#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "tools/pack/builder.h"

/// Files in, one file out. Every failure is an `Error` that gives the path and the system's reason.
namespace coupler::pack {

struct CloseFile {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseFile>;

/// A file under construction beside its later place; it disappears unless it was committed.
class NewFile {
 public:
  explicit NewFile(std::filesystem::path path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void write(std::string_view bytes);
  void commit();

 private:
  const std::filesystem::path path_;
  const std::filesystem::path temporary_;
  Stream stream_;
  bool committed_ = false;
};

}  // namespace coupler::pack
