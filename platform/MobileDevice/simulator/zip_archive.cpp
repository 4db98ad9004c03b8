#include "zip_archive.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

namespace MobileDevice::simulator {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The records: the number at their start, the length of their fixed part, and the offsets of their
// fields.
namespace local_header {
constexpr std::uint32_t kSignature = 0x04034B50;
constexpr std::size_t kSize = 30, kMethod = 8, kNameLength = 26, kExtraLength = 28;
}  // namespace local_header
namespace directory_entry {
constexpr std::uint32_t kSignature = 0x02014B50;
constexpr std::size_t kSize = 46, kFlags = 8, kMethod = 10, kChecksum = 16, kPackedSize = 20,
                      kUnpackedSize = 24, kNameLength = 28, kExtraLength = 30, kCommentLength = 32,
                      kHeaderOffset = 42;
}  // namespace directory_entry
namespace end {
constexpr std::uint32_t kSignature = 0x06054B50;
constexpr std::size_t kSize = 22, kDisks = 4, kEntries = 10, kDirectorySize = 12,
                      kDirectoryOffset = 16, kCommentLength = 20;
}  // namespace end
namespace end64 {
constexpr std::uint32_t kSignature = 0x06064B50;
constexpr std::size_t kSize = 56, kDisks = 16, kEntries = 32, kDirectorySize = 40,
                      kDirectoryOffset = 48;
}  // namespace end64
namespace end64_locator {
constexpr std::uint32_t kSignature = 0x07064B50;
constexpr std::size_t kSize = 20, kEnd64Offset = 8;
}  // namespace end64_locator

constexpr std::size_t kPieceSize = 65536;  // bytes passed on at once
constexpr std::size_t kLongestComment = 0xFFFF;
constexpr std::uint32_t kInZip64Field = 0xFFFFFFFF;
constexpr std::uint16_t kZip64Field = 1;
constexpr std::uint16_t kEncrypted = 1;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;

constexpr const char* kSeveralParts = "is one of several parts";

/// The little-endian number at `at`. The caller has checked that it is inside.
template <typename Number>
Number number_at(const Bytes& bytes, std::size_t at) {
  Number number = 0;
  for (std::size_t i = sizeof(Number); i-- > 0;)
    number = static_cast<Number>(static_cast<std::uint64_t>(number) << 8 | bytes[at + i]);
  return number;
}

bool is_record(const Bytes& bytes, std::size_t at, std::uint32_t signature) {
  return number_at<std::uint32_t>(bytes, at) == signature;
}

[[noreturn]] void fail(const char* why) { throw std::runtime_error(why); }

/// Replaces the placeholders of numbers that are too large for a directory entry.
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

  /// @return  whether the deflated data has ended
  bool unpack(std::uint8_t* bytes, std::size_t size, const ZipArchive::Receiver& receive) {
    stream_.next_in = bytes;
    stream_.avail_in = static_cast<uInt>(size);
    int result = Z_OK;
    do {
      stream_.next_out = piece_.data();
      stream_.avail_out = static_cast<uInt>(piece_.size());
      result = inflate(&stream_, Z_NO_FLUSH);
      if (result == Z_MEM_ERROR) throw std::bad_alloc();
      if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) fail("damaged");
      receive(piece_.data(), piece_.size() - stream_.avail_out);
    } while (result == Z_OK && stream_.avail_out == 0);
    return result == Z_STREAM_END;
  }

 private:
  z_stream stream_{};
  Bytes piece_ = Bytes(kPieceSize);  // not on the stack, which may be small
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
  const Bytes header = read_at(entry.offset, local_header::kSize);
  if (!is_record(header, 0, local_header::kSignature)) fail("damaged");
  std::string name(number_at<std::uint16_t>(header, local_header::kNameLength), '\0');
  read_exactly(reinterpret_cast<std::uint8_t*>(name.data()), name.size());
  if (name != entry.name || number_at<std::uint16_t>(header, local_header::kMethod) != entry.method)
    fail("listed with another name or method than it has");
  stream_.seekg(number_at<std::uint16_t>(header, local_header::kExtraLength), std::ios::cur);

  std::uint64_t size = 0;
  uLong checksum = crc32(0, nullptr, 0);
  const Receiver check_and_receive = [&](const std::uint8_t* bytes, std::size_t count) {
    size += count;
    checksum = crc32(checksum, bytes, static_cast<uInt>(count));
    if (size > entry.size) fail("longer than its entry says");
    receive(bytes, count);
  };
  Bytes piece(kPieceSize);
  Inflation inflation;
  bool ended = false;
  for (std::uint64_t left = entry.packed_size; left > 0 && !ended;) {
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(left, piece.size()));
    read_exactly(piece.data(), count);
    left -= count;
    if (entry.method == kStored) {
      check_and_receive(piece.data(), count);
    } else {
      ended = inflation.unpack(piece.data(), count, check_and_receive);
    }
  }
  if (size != entry.size) fail("shorter than its entry says");
  if (checksum != entry.checksum) fail("CRC error");
}

ZipArchive::Directory ZipArchive::find_directory() {
  stream_.seekg(0, std::ios::end);
  const std::uint64_t file_size = static_cast<std::uint64_t>(stream_.tellg());
  const std::size_t tail_size = static_cast<std::size_t>(
      std::min<std::uint64_t>(file_size, end64_locator::kSize + end::kSize + kLongestComment));
  const Bytes tail = read_at(file_size - tail_size, tail_size);
  for (std::size_t after = tail_size; after >= end::kSize; --after) {
    const std::size_t at = after - end::kSize;
    // Its comment ends the file: a comment may contain the signature, too.
    if (!is_record(tail, at, end::kSignature) ||
        number_at<std::uint16_t>(tail, at + end::kCommentLength) != tail_size - after)
      continue;
    if (at >= end64_locator::kSize) {
      const std::size_t locator = at - end64_locator::kSize;
      if (is_record(tail, locator, end64_locator::kSignature))
        return read_end64(number_at<std::uint64_t>(tail, locator + end64_locator::kEnd64Offset));
    }
    if (number_at<std::uint32_t>(tail, at + end::kDisks) != 0) fail(kSeveralParts);
    return {number_at<std::uint32_t>(tail, at + end::kDirectoryOffset),
            number_at<std::uint32_t>(tail, at + end::kDirectorySize),
            number_at<std::uint16_t>(tail, at + end::kEntries)};
  }
  fail("not a zip archive");
}

/// The directory that the record at `offset` describes.
ZipArchive::Directory ZipArchive::read_end64(std::uint64_t offset) {
  const Bytes record = read_at(offset, end64::kSize);
  if (!is_record(record, 0, end64::kSignature)) fail("the list of its entries is damaged");
  if (number_at<std::uint64_t>(record, end64::kDisks) != 0) fail(kSeveralParts);
  return {number_at<std::uint64_t>(record, end64::kDirectoryOffset),
          number_at<std::uint64_t>(record, end64::kDirectorySize),
          number_at<std::uint64_t>(record, end64::kEntries)};
}

/// The directory entry at the stream's position.
ZipArchive::Entry ZipArchive::read_entry() {
  namespace field = directory_entry;
  Bytes fixed(field::kSize);
  read_exactly(fixed.data(), fixed.size());
  if (!is_record(fixed, 0, field::kSignature)) fail("the list of its entries is damaged");
  Entry entry{std::string(number_at<std::uint16_t>(fixed, field::kNameLength), '\0'),
              number_at<std::uint16_t>(fixed, field::kFlags),
              number_at<std::uint16_t>(fixed, field::kMethod),
              number_at<std::uint32_t>(fixed, field::kChecksum),
              number_at<std::uint32_t>(fixed, field::kPackedSize),
              number_at<std::uint32_t>(fixed, field::kUnpackedSize),
              number_at<std::uint32_t>(fixed, field::kHeaderOffset)};
  Bytes extra(number_at<std::uint16_t>(fixed, field::kExtraLength));
  Bytes comment(number_at<std::uint16_t>(fixed, field::kCommentLength));
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
