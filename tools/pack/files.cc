// Files in, one file out.
#include "tools/pack/files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "support/lines.h"
#include "support/output.h"

namespace coupler::pack {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kPiece = 1 << 18;

[[noreturn]] void fail(const std::string& what, const fs::path& path, const char* why = std::strerror(errno)) {
  throw Error(what + ' ' + path.string() + ": " + why, path.string());
}

Descriptor opened(const std::string& path, const std::string& name) {
  Descriptor file = open_at_once(path.c_str(), O_RDONLY);
  if (!file) fail("cannot read", name);
  return file;
}

void keep_standard_input(const Sink& sink) {
  std::string piece(kPiece, '\0');
  ssize_t got = 0;
  while ((got = read_some(STDIN_FILENO, piece.data(), piece.size())) > 0)
    sink({piece.data(), static_cast<size_t>(got)});
  if (got < 0) fail("cannot read", "-");
}

}  // namespace

Input::Input(const std::string& path, const std::string& name_for_people)
    : name(name_for_people.empty() ? path : name_for_people), file_(opened(path, name)) {
  struct stat status {};
  if (::fstat(file_.get(), &status) != 0) fail("cannot read", name);
  if (!S_ISREG(status.st_mode)) fail("cannot read", name, "not a regular file");
  size = static_cast<uint64_t>(status.st_size);
}

std::string Input::read(uint64_t offset, uint64_t length) const {
  std::string bytes(length, '\0');
  const ssize_t count =
      resumed([&] { return ::pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
  if (count < 0) fail("cannot read", name);
  bytes.resize(static_cast<size_t>(count));
  return bytes;
}

void Input::copy(uint64_t offset, uint64_t length, const Sink& sink) const {
  while (length > 0) {
    const std::string piece = read(offset, std::min(length, kPiece));
    if (piece.empty()) fail("cannot read", name, "it ends within what is to be read of it");
    sink(piece);
    offset += piece.size();
    length -= piece.size();
  }
}

Nameless::Nameless(const std::function<void(const Sink&)>& content) : file_(std::tmpfile()) {
  if (!file_) fail("cannot create", "a temporary file");
  content([&](std::string_view bytes) {
    if (!write_all(::fileno(file_.get()), bytes.data(), bytes.size())) fail("cannot write", "a temporary file");
  });
}

std::string Nameless::path() const { return "/proc/self/fd/" + std::to_string(::fileno(file_.get())); }

std::string readable(const std::string& name) {
  if (name != "-") {
    opened(name, name);
    if (fs::is_directory(name)) fail("cannot read", name, "not a regular file");
    return name;
  }
  static const Nameless kept(keep_standard_input);
  return kept.path();
}

std::string joined(const Lines& lines, std::string_view separator) {
  std::string result;
  for (const std::string& line : lines) result.append(result.empty() ? "" : separator).append(line);
  return result;
}

Lines lines_of(const std::string& path) {
  const Descriptor file = opened(path, path);
  LinesOf<4096> reader(file.get());
  Lines lines;
  while (const auto line = reader.next_line()) lines.emplace_back(up_to(*line, "\n"));
  return lines;
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
