/// What the fuzz targets share. Each is one file that defines `fuzz::run`; the frame hands it the
/// inputs that libFuzzer thinks up.
#pragma once

#include <string>
#include <string_view>

namespace fuzz {

/// Takes one input. A crash, a sanitizer's report or an unmet `require` is a finding.
void run(std::string_view input);

/// Ends the process with `expectation` unless it is met.
void require(bool met, const char* expectation);

/// A file in memory, for what reads files by their name.
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
