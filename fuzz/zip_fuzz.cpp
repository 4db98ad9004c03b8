#include <zlib.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "MobileDevice/simulator/zip_archive.h"
#include "fuzz/target.h"

namespace {

/// The lowest `size` bytes, the lowest first.
std::string number(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

std::string deflated(const std::string& content) {
  z_stream stream{};
  // The smallest window and the least memory, which are faster to initialise.
  fuzz::require(deflateInit2(&stream, 1, Z_DEFLATED, -9, 1, Z_DEFAULT_STRATEGY) == Z_OK,
                "zlib has memory");
  std::string packed(deflateBound(&stream, content.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  fuzz::require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "zlib packs the content");
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

struct Member {
  std::string name;
  std::string content;
  bool is_deflated;
};

/// A zip archive of the members. `damage` is added to each checksum.
std::string archive(const std::vector<Member>& members, std::string_view comment,
                    std::uint32_t damage) {
  std::string files, directory;
  for (const Member& member : members) {
    const std::string packed = member.is_deflated ? deflated(member.content) : member.content;
    const uLong checksum = crc32(0, reinterpret_cast<const Bytef*>(member.content.data()),
                                 static_cast<uInt>(member.content.size()));
    // From the version that is needed to the length of the extra field.
    const std::string common =
        number(20, 2) + number(0, 2) + number(member.is_deflated ? 8 : 0, 2) + number(0, 4) +
        number(checksum + damage, 4) + number(packed.size(), 4) + number(member.content.size(), 4) +
        number(member.name.size(), 2) + number(0, 2);
    directory += "PK\1\2" + number(20, 2) + common + std::string(10, 0) + number(files.size(), 4) +
                 member.name;
    files += "PK\3\4" + common + member.name + packed;
  }
  return files + directory + "PK\5\6" + number(0, 4) + number(members.size(), 2) +
         number(members.size(), 2) + number(directory.size(), 4) + number(files.size(), 4) +
         number(comment.size(), 2) + std::string(comment);
}

std::vector<Member> extracted(const std::string& bytes) {
  const fuzz::File file(bytes);
  MobileDevice::simulator::ZipArchive zip(file.path());
  std::vector<Member> members;
  for (const auto& entry : zip.entries()) {
    members.push_back({entry.name, {}, entry.method != 0});
    zip.read(entry, [&](const std::uint8_t* piece, std::size_t size) {
      members.back().content.append(reinterpret_cast<const char*>(piece), size);
    });
  }
  return members;
}

}  // namespace

/// The input is the comment, then for each member a byte of choices, a name and a content. 0xFF
/// ends each text. A comment that may be an end record itself has no single meaning.
void fuzz::run(std::string_view input) {
  const auto take = [&input] {
    const std::string_view taken = input.substr(0, input.find('\xff'));
    input.remove_prefix(std::min(taken.size() + 1, input.size()));
    return taken;
  };
  const std::string_view comment = take();
  if (comment.find("PK\5\6") != std::string_view::npos) return;
  std::vector<Member> members;
  while (!input.empty()) {
    const unsigned choices = static_cast<unsigned char>(input.front());
    input.remove_prefix(1);
    members.push_back({std::string(take()), std::string(take()), (choices & 1) != 0});
    std::string& content = members.back().content;
    if ((choices & 6) == 6)  // longer than a piece
      while (!content.empty() && content.size() < 70'000) content += content;
  }
  const std::vector<Member> read = extracted(archive(members, comment, 0));
  require(read.size() == members.size(), "all entries are listed");
  for (std::size_t i = 0; i < read.size(); ++i)
    require(read[i].name == members[i].name && read[i].content == members[i].content &&
                read[i].is_deflated == members[i].is_deflated,
            "an entry is what was packed");
  try {
    extracted(archive(members, comment, 1));
    require(members.empty(), "a wrong checksum is refused");
  } catch (const std::runtime_error&) {
  }
}
