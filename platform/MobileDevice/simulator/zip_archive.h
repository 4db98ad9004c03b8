/// The part of the zip format that firmware bundles need: stored and deflated entries of any size,
/// in one file, not encrypted. PKWARE's APPNOTE.TXT describes the format; zlib unpacks the entries.
#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace MobileDevice::simulator {

/// Doesn't trust the file: a contradiction is a std::runtime_error whose text gives the reason.
class ZipArchive {
 public:
  struct Entry {
    std::string name;
    std::uint16_t flags;
    std::uint16_t method;
    std::uint32_t checksum;  // CRC-32 of the content
    std::uint64_t packed_size;
    std::uint64_t size;
    std::uint64_t offset;  // of its local header
  };
  using Receiver = std::function<void(const std::uint8_t* bytes, std::size_t size)>;

  /// Reads the list of entries. @throws std::runtime_error
  explicit ZipArchive(const std::string& file);

  const std::vector<Entry>& entries() const { return entries_; }

  /// Passes the content of an entry of this archive to the receiver in pieces of at most 64 KiB.
  /// @throws std::runtime_error  also at the end, if length or checksum is wrong
  void read(const Entry& entry, const Receiver& receive);

 private:
  struct Directory {
    std::uint64_t offset;
    std::uint64_t size;
    std::uint64_t count;  // of entries
  };

  Directory find_directory();
  Directory read_end64(std::uint64_t offset);
  Entry read_entry();
  void read_exactly(std::uint8_t* bytes, std::size_t size);
  std::vector<std::uint8_t> read_at(std::uint64_t offset, std::size_t size);

  std::ifstream stream_;
  std::vector<Entry> entries_;
};

}  // namespace MobileDevice::simulator
