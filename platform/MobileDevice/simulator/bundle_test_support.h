#pragma once

#include <gtest/gtest.h>
#include <zip.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Names and contents; a name that ends in a slash is a directory.
using Entries = std::vector<std::pair<std::string, std::string>>;

/// Without compression, so that a test finds a content's bytes in the file.
inline void write_zip(const std::string& path, const Entries& entries) {
  zip_t* const archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
  for (const auto& [name, content] : entries) {
    if (name.back() == '/') {
      zip_dir_add(archive, name.c_str(), 0);
      continue;
    }
    zip_source_t* const source =
        zip_source_buffer(archive, content.data(), content.size(), /*freep=*/0);
    const std::int64_t index = zip_file_add(archive, name.c_str(), source, 0);
    zip_set_file_compression(archive, static_cast<std::uint64_t>(index), ZIP_CM_STORE, 0);
  }
  ASSERT_EQ(zip_close(archive), 0) << zip_strerror(archive);
}
