// The objects of a container file, read without trusting it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
  unsigned flags = 0;
  std::string text = {};  ///< version, name and size, or what an image header says
  bool broken = false;
};

struct Problem {
  uint64_t offset;
  std::string text;
};

struct Tree {
  uint64_t size;
  std::vector<Node> nodes;  ///< in the order of the file
  std::vector<Problem> problems;
};

/// @throws Failure when the file cannot be read
Tree read_tree(const std::string& path);

}  // namespace coupler::tools
