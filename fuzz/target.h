/// Declarations that the fuzz targets share. Each target is one file that defines `fuzz::run`,
/// which is called with the inputs that libFuzzer generates.
#pragma once

#include <string>
#include <string_view>

namespace fuzz {

/// Tests one input. A crash, a sanitizer's report or an unmet `require` is a finding.
void run(std::string_view input);

/// Ends the process with `expectation` unless it is met.
void require(bool met, const char* expectation);

/// A file in memory, for functions that open a file by its name.
class File {
 public:
  explicit File(std::string_view content);
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  std::string path() const;

 private:
  int descriptor_;
};

}  // namespace fuzz
