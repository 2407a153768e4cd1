// The objects of a container file, read without trusting it.
#include "tools/tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "brantix/container.h"
#include "support/handle.h"
#include "tools/command.h"

namespace coupler::tools {
namespace {

constexpr int kDeepest = 32;
constexpr size_t kMostNodes = 10'000;
constexpr size_t kMostText = 128;
constexpr uint64_t kGuid = 16;
constexpr uint64_t kHead = sizeof(orvix_object);

class Input {
 public:
  explicit Input(const std::string& path) : path_(path), file_(open_at_once(path.c_str(), O_RDONLY)) {
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) fail(std::strerror(errno));
    if (!S_ISREG(status.st_mode)) fail("not a regular file");
    size = static_cast<uint64_t>(status.st_size);
  }

  /// Up to `length` bytes at `offset`; fewer where the file ends.
  std::string read(uint64_t offset, uint64_t length) const {
    std::string bytes(length, '\0');
    const ssize_t count = ::pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0) fail(std::strerror(errno));
    bytes.resize(static_cast<size_t>(count));
    return bytes;
  }

  uint64_t size = 0;

 private:
  [[noreturn]] void fail(const std::string& why) const { throw Failure("cannot read " + path_ + ": " + why, path_); }

  const std::string path_;
  const Descriptor file_;
};

std::string until_nul(const std::string& text, size_t offset, size_t length) {
  const std::string field = text.substr(std::min(offset, text.size()), length);
  return field.substr(0, field.find('\0'));
}

bool has_image_header(int type) {
  return type == orvix_object_imageheader || type == orvix_object_imagetype || type == orvix_object_bundletype;
}

bool has_text(int type) {
  return (type >= orvix_object_firmware && type <= orvix_object_firmwareimagetwo) || type == orvix_object_imagefile ||
         type == orvix_object_textfile;
}

/// The number behind the ';' of a part's header; 0 without one.
uint64_t declared_size(const std::string& text) {
  const size_t mark = text.find(';');
  uint64_t size = 0;
  if (mark != text.npos) std::from_chars(text.data() + mark + 1, text.data() + text.size(), size);
  return size;
}

bool wraps(int type) { return type == orvix_object_zeltasignature || type == orvix_object_controllertype; }

class Reader {
 public:
  explicit Reader(const Input& file) : file_(file), tree_{file.size, {}, {}} {}

  Tree read() {
    container(0, file_.size, 0);
    return std::move(tree_);
  }

 private:
  void problem(uint64_t offset, std::string text) {
    Node& last = tree_.nodes.back();
    last.broken = last.broken || last.offset == offset;
    tree_.problems.push_back({offset, std::move(text)});
  }

  void container(uint64_t offset, uint64_t end, int depth) {
    tree_.nodes.push_back({.offset = offset, .depth = depth, .name = "container", .type = -1});
    const std::string guid = file_.read(offset, std::min(kGuid, end - offset));
    if (guid.size() < kGuid) return problem(offset, "too short for a container");
    if (!orvix_is_file_guid(guid.data())) problem(offset, "the file GUID is missing; this is no container, or damaged");
    objects(offset + kGuid, end, depth + 1);
  }

  void objects(uint64_t offset, uint64_t end, int depth) {
    while (offset < end) {
      if (depth > kDeepest) return problem(offset, "objects stand in objects more than 32 deep");
      if (tree_.nodes.size() >= kMostNodes) return problem(offset, "more than 10000 objects");
      std::string head = file_.read(offset, std::min(kHead, end - offset));
      if (head.size() < kHead && head.find_first_not_of('\0') != head.npos) {
        return problem(offset, std::to_string(head.size()) + " bytes stand where an object's head of 32 should be");
      }
      head.resize(kHead);
      const uint64_t length = object(head, offset, end, depth);
      if (length == 0 || length > end - offset) return;
      offset += length;
    }
  }

  /// @return length of the object; 0 when nothing follows it
  uint64_t object(std::string& head, uint64_t offset, uint64_t end, int depth) {
    auto* const object = reinterpret_cast<orvix_object*>(head.data());
    const orvix_desc* const desc = orvix_object_get_descriptor(object);
    const int type = orvix_get_object_type(object);
    const uint64_t header = orvix_desc_get_header_len(desc);
    const uint64_t payload = orvix_desc_get_payload_len(desc);
    tree_.nodes.push_back({offset, depth, orvix_object_get_name(object), type, header, payload, desc->flags});
    if (type == orvix_object_null) return 0;
    if (type == ORVIX_TYPE_UNKNOWN) {
      problem(offset, "an object of unknown type");
      return 0;
    }
    const uint64_t room = end - offset - kHead;
    if (header > room) {
      problem(offset, overrun("header", header, room));
      return 0;
    }
    tree_.nodes.back().text = text_of(type, offset + kHead, header);
    if (payload > room - header) problem(offset, overrun("payload", payload, room - header));
    const uint64_t content = has_text(type) ? declared_size(tree_.nodes.back().text) : 0;
    if (content > payload) {
      problem(offset,
              "the part has " + std::to_string(content) + " bytes, its payload only " + std::to_string(payload));
    }
    children(type, offset + kHead + header, std::min(payload, room - header), depth);
    return kHead + header + payload;
  }

  void children(int type, uint64_t offset, uint64_t length, int depth) {
    const std::string guid = file_.read(offset, std::min(kGuid, length));
    if (guid.size() < kGuid && !wraps(type)) return;
    if (guid.size() == kGuid && orvix_is_file_guid(guid.data())) return container(offset, offset + length, depth + 1);
    if (wraps(type)) objects(offset, offset + length, depth + 1);
  }

  std::string text_of(int type, uint64_t offset, uint64_t length) const {
    if (has_text(type)) return until_nul(file_.read(offset, std::min<uint64_t>(length, kMostText)), 0, kMostText);
    if (!has_image_header(type)) return "";
    const std::string header = file_.read(offset, std::min<uint64_t>(length, sizeof(ImageHeader)));
    return until_nul(header, offsetof(ImageHeader, filename), sizeof(ImageHeader::filename)) + " " +
           until_nul(header, offsetof(ImageHeader, version), sizeof(ImageHeader::version));
  }

  static std::string overrun(const std::string& what, uint64_t length, uint64_t room) {
    return "the " + what + " has " + std::to_string(length) + " bytes, but only " + std::to_string(room) + " are left";
  }

  const Input& file_;
  Tree tree_;
};

}  // namespace

Tree read_tree(const std::string& path) {
  const Input file(path);
  return Reader(file).read();
}

}  // namespace coupler::tools
