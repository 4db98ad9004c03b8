/// Tables of cases: files in testdata with one case in each line.
#pragma once

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  for (std::size_t at; (at = text.find(separator)) != std::string_view::npos;) {
    parts.emplace_back(text.substr(0, at));
    text.remove_prefix(at + separator.size());
  }
  parts.emplace_back(text);
  return parts;
}

/// One case of a table.
struct Row {
  std::string place;  // FILE:LINE, for SCOPED_TRACE
  std::vector<std::string> columns;

  const std::string& operator[](std::size_t i) const { return columns.at(i); }
};

inline constexpr std::size_t kAnyNumber = 0;

/// The lines of testdata/FILE except comments, each split at every `separator`.
/// @throws std::runtime_error  the file has no case, or a case with another number of columns.
inline std::vector<Row> table(const std::string& file, std::size_t columns,
                              std::string_view separator = " => ") {
  std::ifstream stream(TEST_DATA_DIR "/" + file, std::ios::binary);
  std::vector<Row> rows;
  std::size_t number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.starts_with('#')) continue;
    Row row{file + ':' + std::to_string(number), split(line, separator)};
    if (columns != kAnyNumber && row.columns.size() != columns)
      throw std::runtime_error(row.place + " has " + std::to_string(row.columns.size()) +
                               " columns instead of " + std::to_string(columns));
    rows.push_back(std::move(row));
  }
  if (rows.empty()) throw std::runtime_error("no cases in " + file);
  return rows;
}

/// The bytes of a C literal's content. `tilde` replaces every '~'.
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
