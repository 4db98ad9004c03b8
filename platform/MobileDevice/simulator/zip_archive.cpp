#include "zip_archive.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

namespace MobileDevice::simulator {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What each record begins with, and its length without what varies.
constexpr std::uint32_t kLocalHeader = 0x04034B50;
constexpr std::size_t kLocalHeaderSize = 30;
constexpr std::uint32_t kDirectoryEntry = 0x02014B50;
constexpr std::size_t kDirectoryEntrySize = 46;
constexpr std::uint32_t kEnd = 0x06054B50;
constexpr std::size_t kEndSize = 22;
constexpr std::uint32_t kEnd64 = 0x06064B50;
constexpr std::size_t kEnd64Size = 56;
constexpr std::uint32_t kEnd64Locator = 0x07064B50;
constexpr std::size_t kEnd64LocatorSize = 20;

constexpr std::size_t kLongestComment = 0xFFFF;
constexpr std::uint32_t kInZip64Field = 0xFFFFFFFF;
constexpr std::uint16_t kZip64Field = 1;
constexpr std::uint16_t kEncrypted = 1;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;

constexpr const char* kSeveralParts = "is one of several parts";

/// The little-endian number at `at`, which the caller knows to be inside.
template <typename Number>
Number number_at(const Bytes& bytes, std::size_t at) {
  Number number = 0;
  for (std::size_t i = sizeof(Number); i-- > 0;)
    number = static_cast<Number>(static_cast<std::uint64_t>(number) << 8 | bytes[at + i]);
  return number;
}

[[noreturn]] void fail(const char* why) { throw std::runtime_error(why); }

/// Puts the numbers that are too large for a directory entry in their place.
void read_zip64_field(const Bytes& extra, ZipArchive::Entry& entry) {
  std::size_t at = 0;
  while (at + 4 <= extra.size()) {
    const std::uint16_t id = number_at<std::uint16_t>(extra, at);
    const std::size_t end = at + 4 + number_at<std::uint16_t>(extra, at + 2);
    at += 4;
    if (end > extra.size()) return;
    if (id != kZip64Field) {
      at = end;
      continue;
    }
    for (std::uint64_t* number : {&entry.size, &entry.packed_size, &entry.offset}) {
      if (*number != kInZip64Field) continue;
      if (at + 8 > end) return;
      *number = number_at<std::uint64_t>(extra, at);
      at += 8;
    }
    return;
  }
}

class Inflation {
 public:
  Inflation() {
    constexpr int kNoHeader = -MAX_WBITS;
    if (inflateInit2(&stream_, kNoHeader) != Z_OK) throw std::bad_alloc();
  }
  Inflation(const Inflation&) = delete;
  Inflation& operator=(const Inflation&) = delete;
  ~Inflation() { inflateEnd(&stream_); }

  /// @return  whether the deflated data has come to its end
  bool unpack(std::uint8_t* bytes, std::size_t size, const ZipArchive::Receiver& receive) {
    std::array<std::uint8_t, 65536> piece;
    stream_.next_in = bytes;
    stream_.avail_in = static_cast<uInt>(size);
    int result = Z_OK;
    do {
      stream_.next_out = piece.data();
      stream_.avail_out = piece.size();
      result = inflate(&stream_, Z_NO_FLUSH);
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) fail("damaged");
      receive(piece.data(), piece.size() - stream_.avail_out);
    } while (result == Z_OK && stream_.avail_out == 0);
    return result == Z_STREAM_END;
  }

 private:
  z_stream stream_{};
};

}  // namespace

ZipArchive::ZipArchive(const std::string& file) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored))
    fail("is a directory, expected a firmware bundle, a zip archive");
  errno = 0;
  stream_.open(file, std::ios::binary);
  if (!stream_) throw std::runtime_error(std::generic_category().message(errno));

  const Directory directory = find_directory();
  stream_.seekg(static_cast<std::streamoff>(directory.offset));
  for (std::uint64_t i = 0; i < directory.count; ++i) entries_.push_back(read_entry());
  if (static_cast<std::uint64_t>(stream_.tellg()) != directory.offset + directory.size)
    fail("the list of its entries is damaged");
}

void ZipArchive::read(const Entry& entry, const Receiver& receive) {
  if ((entry.flags & kEncrypted) != 0) fail("is encrypted");
  if (entry.method != kStored && entry.method != kDeflated) fail("neither stored nor deflated");
  const Bytes header = read_at(entry.offset, kLocalHeaderSize);
  if (number_at<std::uint32_t>(header, 0) != kLocalHeader) fail("damaged");
  stream_.seekg(number_at<std::uint16_t>(header, 26) + number_at<std::uint16_t>(header, 28),
                std::ios::cur);

  std::uint64_t size = 0;
  uLong checksum = crc32(0, nullptr, 0);
  const Receiver check_and_receive = [&](const std::uint8_t* bytes, std::size_t count) {
    size += count;
    checksum = crc32(checksum, bytes, static_cast<uInt>(count));
    if (size > entry.size) fail("longer than its entry says");
    receive(bytes, count);
  };
  std::array<std::uint8_t, 65536> piece;
  Inflation inflation;
  bool ended = false;
  for (std::uint64_t left = entry.packed_size; left > 0 && !ended;) {
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(left, piece.size()));
    read_exactly(piece.data(), count);
    left -= count;
    if (entry.method == kStored)
      check_and_receive(piece.data(), count);
    else
      ended = inflation.unpack(piece.data(), count, check_and_receive);
  }
  if (size != entry.size) fail("shorter than its entry says");
  if (checksum != entry.checksum) fail("CRC error");
}

ZipArchive::Directory ZipArchive::find_directory() {
  stream_.seekg(0, std::ios::end);
  const std::uint64_t file_size = static_cast<std::uint64_t>(stream_.tellg());
  const std::size_t tail_size = static_cast<std::size_t>(
      std::min<std::uint64_t>(file_size, kEnd64LocatorSize + kEndSize + kLongestComment));
  const Bytes tail = read_at(file_size - tail_size, tail_size);
  for (std::size_t after = tail_size; after >= kEndSize; --after) {
    const std::size_t end = after - kEndSize;
    if (number_at<std::uint32_t>(tail, end) != kEnd) continue;
    if (end >= kEnd64LocatorSize) {
      const std::size_t locator = end - kEnd64LocatorSize;
      if (number_at<std::uint32_t>(tail, locator) == kEnd64Locator) {
        const Bytes end64 = read_at(number_at<std::uint64_t>(tail, locator + 8), kEnd64Size);
        if (number_at<std::uint32_t>(end64, 0) != kEnd64)
          fail("the list of its entries is damaged");
        if (number_at<std::uint64_t>(end64, 16) != 0) fail(kSeveralParts);
        return {number_at<std::uint64_t>(end64, 48), number_at<std::uint64_t>(end64, 40),
                number_at<std::uint64_t>(end64, 32)};
      }
    }
    if (number_at<std::uint32_t>(tail, end + 4) != 0) fail(kSeveralParts);
    return {number_at<std::uint32_t>(tail, end + 16), number_at<std::uint32_t>(tail, end + 12),
            number_at<std::uint16_t>(tail, end + 10)};
  }
  fail("not a zip archive");
}

/// The entry of the directory at which the stream stands.
ZipArchive::Entry ZipArchive::read_entry() {
  Bytes fixed(kDirectoryEntrySize);
  read_exactly(fixed.data(), fixed.size());
  if (number_at<std::uint32_t>(fixed, 0) != kDirectoryEntry)
    fail("the list of its entries is damaged");
  Entry entry{std::string(number_at<std::uint16_t>(fixed, 28), '\0'),
              number_at<std::uint16_t>(fixed, 8),
              number_at<std::uint16_t>(fixed, 10),
              number_at<std::uint32_t>(fixed, 16),
              number_at<std::uint32_t>(fixed, 20),
              number_at<std::uint32_t>(fixed, 24),
              number_at<std::uint32_t>(fixed, 42)};
  Bytes extra(number_at<std::uint16_t>(fixed, 30));
  Bytes comment(number_at<std::uint16_t>(fixed, 32));
  read_exactly(reinterpret_cast<std::uint8_t*>(entry.name.data()), entry.name.size());
  read_exactly(extra.data(), extra.size());
  read_exactly(comment.data(), comment.size());
  read_zip64_field(extra, entry);
  return entry;
}

void ZipArchive::read_exactly(std::uint8_t* bytes, std::size_t size) {
  errno = 0;
  stream_.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(size));
  if (stream_) return;
  const int error = errno;
  stream_.clear();
  if (error != 0) throw std::runtime_error(std::generic_category().message(error));
  fail("the archive ends too early");
}

std::vector<std::uint8_t> ZipArchive::read_at(std::uint64_t offset, std::size_t size) {
  stream_.seekg(static_cast<std::streamoff>(offset));
  Bytes bytes(size);
  read_exactly(bytes.data(), size);
  return bytes;
}

}  // namespace MobileDevice::simulator
