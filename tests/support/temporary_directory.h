#pragma once

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <iterator>
#include <string>

/// A directory that exists as long as the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory()
      : path_(boost::filesystem::temp_directory_path() /
              boost::filesystem::unique_path("korvrestore-test-%%%%%%%%")) {
    boost::filesystem::create_directory(path_);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    boost::system::error_code ignored;
    boost::filesystem::remove_all(path_, ignored);
  }

  /// The path of the file `name`, which may not exist.
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  /// Creates the file `name` and returns its path.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(*this / name, std::ios::binary) << content;
    return *this / name;
  }

 private:
  boost::filesystem::path path_;
};

inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}
