/// Tables of cases: files of testdata that hold one case a line.
#pragma once

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace cf::test {

inline std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  for (std::size_t at; (at = text.find(separator)) != std::string_view::npos;) {
    parts.emplace_back(text.substr(0, at));
    text.remove_prefix(at + separator.size());
  }
  parts.emplace_back(text);
  return parts;
}

/// The lines of testdata/FILE but for comments, each split at every `separator`.
inline std::vector<std::vector<std::string>> table(const char* file,
                                                   std::string_view separator = " => ") {
  std::ifstream stream(std::string(TEST_DATA_DIR "/") + file, std::ios::binary);
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(stream, line);)
    if (!line.starts_with('#')) lines.push_back(split(line, separator));
  if (lines.empty()) throw std::runtime_error(std::string("no cases in ") + file);
  return lines;
}

/// Bytes from a C literal's inside, every '~' as `tilde`.
inline std::string unescaped(std::string_view text, std::string_view tilde = "~") {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      text[i] == '~' ? bytes += tilde : bytes += text[i];
      continue;
    }
    const char c = text[++i];
    const std::size_t named = std::string_view("ntr").find(c);
    if (c == 'x') {
      unsigned value = 0;
      std::from_chars(&text[i + 1], &text[i + 1] + 2, value, 16);
      bytes += static_cast<char>(value);
      i += 2;
    } else {
      bytes += named == std::string_view::npos ? c : "\n\t\r"[named];
    }
  }
  return bytes;
}

}  // namespace cf::test
