// Files in, one file out. Every failure is an `Error` that gives the path and the system's reason.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/handle.h"
#include "support/output.h"
#include "tools/pack/builder.h"

namespace coupler::pack {
namespace {

namespace fs = std::filesystem;

constexpr size_t kPiece = size_t{1} << 20;

[[noreturn]] void fail(const char* what, const fs::path& path) {
  throw Error(std::string(what) + ' ' + path.string() + ": " + std::strerror(errno), path.string());
}

}  // namespace

File file(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) fail("cannot read", path);
  if (!S_ISREG(status.st_mode)) throw Error(path.string() + " is not a regular file", path.string());
  if (access(path.c_str(), R_OK) != 0) fail("cannot read", path);
  return {path, static_cast<uint64_t>(status.st_size)};
}

void copy(const File& from, const Sink& sink) {
  const Descriptor file = open_at_once(from.path.c_str(), O_RDONLY);
  if (!file) fail("cannot open", from.path);
  std::vector<char> piece(kPiece);
  uint64_t done = 0;
  ssize_t got = 0;
  while (done <= from.size && (got = read_some(file.get(), piece.data(), piece.size())) > 0) {
    done += static_cast<uint64_t>(got);
    if (done <= from.size) sink({piece.data(), static_cast<size_t>(got)});
  }
  if (got < 0) fail("cannot read", from.path);
  if (done != from.size) throw Error(from.path.string() + " changed its size while it was packed", from.path.string());
}

void refuse_overwriting(const fs::path& out, const std::vector<fs::path>& inputs) {
  for (const fs::path& input : inputs) {
    std::error_code missing;
    if (!fs::equivalent(out, input, missing)) continue;
    throw Error(out.string() + " is what it would be made from, " + input.string() + "; name another file",
                out.string());
  }
}

void write_whole(const fs::path& path, const std::function<void(const Sink&)>& content) {
  std::error_code missing;
  const fs::file_status status = fs::status(path, missing);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw Error(path.string() + " is not a regular file", path.string());
  }
  const fs::path target = fs::is_symlink(path, missing) ? fs::weakly_canonical(path) : path;
  OutputFile output(target.c_str());
  if (!output) fail("cannot create", path);
  content([&](std::string_view bytes) {
    if (!output.write(bytes.data(), bytes.size())) fail("cannot write", path);
  });
  if (!output.commit()) fail("cannot write", path);
}

}  // namespace coupler::pack
