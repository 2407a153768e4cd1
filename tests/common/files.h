// Files of tests.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace coupler::test {

inline void write_file(const std::filesystem::path& path, const std::string& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

inline void write_script(const std::string& path, const std::string& script) {
  write_file(path, "#!/bin/sh\n" + script);
  std::filesystem::permissions(path, std::filesystem::perms::all);
}

inline std::string read_file(const std::filesystem::path& path) {
  return (std::ostringstream() << std::ifstream(path, std::ios::binary).rdbuf()).str();
}

/// The names in a directory, sorted, separated by blanks.
inline std::string names_in(const std::filesystem::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) names.insert(entry.path().filename());
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

/// A directory that disappears with its content.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    char name[] = "/tmp/couplerXXXXXX";
    path_ = mkdtemp(name);
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace coupler::test
