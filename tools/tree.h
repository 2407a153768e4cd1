// The objects of a container file, read without trusting it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "brantix/container.h"
#include "tools/command.h"

/// The objects of a container file, read without trusting it: only heads and what a header says are read, every length
/// is compared with what holds it, depth and number are bounded.
namespace coupler::tools {

/// A container (file GUID) or an object.
struct Node {
  uint64_t offset;  ///< in the file, bytes
  int depth;
  std::string name;
  int type;  ///< -1 for a container
  uint64_t header_length = 0;
  uint64_t payload_length = 0;
  uint8_t flags = 0;
  std::string text = {};  ///< version, name and size, or what an image header says

  /// Of a part whose header has a text; null for another object.
  const pack::PartKind* kind() const { return pack::part_kind(type); }
  bool is_named() const { return kind() != nullptr && kind()->is_named(); }
  uint64_t header() const { return offset + sizeof(orvix_object); }
  uint64_t payload() const { return header() + header_length; }
  /// The version or name before the size.
  std::string label() const { return text.substr(0, text.find(';')); }
  bool has_size() const { return text.find(';') != std::string::npos; }
  /// How many bytes of the payload are the part's content; all of another object's.
  uint64_t content_length() const;
};

/// What is wrong, and where.
struct Finding {
  uint64_t offset;  ///< in the file, bytes
  std::string text;
  std::string part = {};  ///< what its header says; empty where no part is meant
  bool note = false;      ///< nothing is wrong, but it may not be as it is meant
};
using Findings = std::vector<Finding>;

struct Tree {
  Input file;
  std::vector<Node> nodes = {};  ///< in the order of the file
  Findings problems = {};

  /// Whether a signature object with a controller type begins it. Its parts are those of node 2.
  bool is_bundle() const;
  /// The first `most` of the objects of which `node` is made, by index.
  std::vector<size_t> children(size_t node, size_t most = SIZE_MAX) const;
  /// The index of what stands in the signature object of the image that part `node` holds; 0 when it holds none.
  size_t content_of_image(size_t node) const;
  ImageHeader image_header(const Node& node) const;
  /// Of the content of a part, or of the payload of another object. @throws Failure when the file does not have it
  std::string sha256(const Node& node) const;
};

/// @throws Failure when the file cannot be read
Tree read_tree(const std::string& path);

/// "at 704: part: text", for each in a line of its own.
std::string lines_of(const Findings& findings);

/// Fails with them all, unless there are none.
void must_be_whole(const std::string& what, const std::string& path, const Findings& findings);

}  // namespace coupler::tools
