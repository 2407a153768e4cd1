#include "tools/pack/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace coupler::pack {

namespace {

namespace fs = std::filesystem;

constexpr size_t kPiece = size_t{1} << 20;

[[noreturn]] void fail(const char* what, const fs::path& path) {
  throw Error(std::string(what) + ' ' + path.string() + ": " + std::strerror(errno));
}

// The process's own name, so that two that write the same file do not meet in the temporary one.
fs::path beside(const fs::path& path) {
  fs::path name = ".";
  name += path.filename();
  name += '.';
  name += std::to_string(getpid());
  return path.parent_path() / name;
}

// "x": made by this call, so nothing that a stranger put there is followed or overwritten.
Stream create(const fs::path& path) {
  unlink(path.c_str());
  return Stream(std::fopen(path.c_str(), "wbxe"));
}

}  // namespace

File file(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) fail("cannot read", path);
  if (!S_ISREG(status.st_mode)) throw Error(path.string() + " is not a regular file");
  if (access(path.c_str(), R_OK) != 0) fail("cannot read", path);
  return {path, static_cast<uint64_t>(status.st_size)};
}

void copy(const File& from, const Sink& sink) {
  const Stream stream(std::fopen(from.path.c_str(), "rbe"));
  if (!stream) fail("cannot open", from.path);
  std::vector<char> piece(kPiece);
  uint64_t done = 0;
  while (const size_t count = std::fread(piece.data(), 1, piece.size(), stream.get())) {
    done += count;
    if (done > from.size) break;
    sink({piece.data(), count});
  }
  if (std::ferror(stream.get()) != 0) fail("cannot read", from.path);
  if (done != from.size) throw Error(from.path.string() + " changed its size while it was packed");
}

NewFile::NewFile(fs::path path) : path_(std::move(path)), temporary_(beside(path_)) {
  std::error_code missing;
  const fs::file_status status = fs::status(path_, missing);
  if (fs::exists(status) && !fs::is_regular_file(status)) throw Error(path_.string() + " is not a regular file");
  stream_ = create(temporary_);
  if (!stream_) fail("cannot create", path_);
}

NewFile::~NewFile() {
  stream_.reset();
  if (!committed_) unlink(temporary_.c_str());
}

void NewFile::write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_.get()) != bytes.size()) fail("cannot write", path_);
}

void NewFile::commit() {
  if (std::fflush(stream_.get()) != 0 || std::fclose(stream_.release()) != 0) fail("cannot write", path_);
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail("cannot replace", path_);
  committed_ = true;
}

}  // namespace coupler::pack
