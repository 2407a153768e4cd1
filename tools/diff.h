// What one container has and another has not.
#pragma once

#include <string>
#include <vector>

namespace coupler::tools {

struct Difference {
  std::string change;  ///< added, removed, version, header or content
  std::string part;    ///< object and name, below those that hold it
  std::string before;  ///< what the header says, or the content's SHA-256; empty when it was added
  std::string after;
};

/// Differences of the objects of two containers. Neither their order counts nor the zeros that fill headers up.
///
/// @param parts_only the parts of bundles; what an image among them holds is its content
/// @throws Failure when one of the files cannot be read to its end
std::vector<Difference> differences(const std::string& before, const std::string& after, bool parts_only);

}  // namespace coupler::tools
