// Files that are looked into where they are, and standard input kept so that it can be.
#include "tools/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/lines.h"
#include "tools/command.h"

namespace coupler::tools {
namespace {

constexpr uint64_t kPiece = 1 << 18;

Nameless standard_input() {
  Nameless kept;
  std::vector<char> piece(kPiece);
  ssize_t got = 0;
  while ((got = read_some(STDIN_FILENO, piece.data(), piece.size())) > 0) {
    kept.write({piece.data(), static_cast<size_t>(got)});
  }
  if (got < 0) throw Failure(std::string("cannot read standard input: ") + std::strerror(errno), "-");
  return kept;
}

}  // namespace

Nameless::Nameless() : file_(std::tmpfile()) {
  if (!file_) throw Failure(std::string("cannot make a temporary file: ") + std::strerror(errno));
}

void Nameless::write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size()) return;
  throw Failure(std::string("cannot write a temporary file: ") + std::strerror(errno));
}

std::string Nameless::path() const {
  if (std::fflush(file_.get()) != 0)
    throw Failure(std::string("cannot write a temporary file: ") + std::strerror(errno));
  return "/proc/self/fd/" + std::to_string(::fileno(file_.get()));
}

std::string readable(const std::string& name) {
  if (name != "-") return name;
  static const Nameless kept = standard_input();
  return kept.path();
}

Lines lines_of(const std::string& path) {
  const Descriptor file = open_at_once(path.c_str(), O_RDONLY);
  if (!file) throw Failure("cannot read " + path + ": " + std::strerror(errno), path);
  LinesOf<4096> reader(file.get());
  Lines lines;
  while (const auto line = reader.next_line()) lines.emplace_back(up_to(*line, "\n"));
  return lines;
}

Input::Input(const std::string& named) : name(named), file_(open_at_once(readable(named).c_str(), O_RDONLY)) {
  struct stat status {};
  if (!file_ || ::fstat(file_.get(), &status) != 0) fail(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) fail("not a regular file");
  size = static_cast<uint64_t>(status.st_size);
}

std::string Input::read(uint64_t offset, uint64_t length) const {
  std::string bytes(length, '\0');
  const ssize_t count = ::pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
  if (count < 0) fail(std::strerror(errno));
  bytes.resize(static_cast<size_t>(count));
  return bytes;
}

void Input::copy(uint64_t offset, uint64_t length, const std::function<void(std::string_view)>& sink) const {
  while (length > 0) {
    const std::string piece = read(offset, std::min(length, kPiece));
    if (piece.empty()) fail("it ends within what is to be read of it");
    sink(piece);
    offset += piece.size();
    length -= piece.size();
  }
}

void Input::fail(const std::string& why) const { throw Failure("cannot read " + name + ": " + why, name); }

}  // namespace coupler::tools
