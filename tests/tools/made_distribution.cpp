#include "tools/made_distribution.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string_view>

#include "digest.h"
#include "support/temporary_directory.h"

namespace test {
namespace {

using tool::Distribution;
using tool::TreeEntry;

constexpr int64_t someTime = 1700000000;

void addParents(Distribution &distribution, const std::string &path) {
  for (size_t slash = path.find('/'); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const std::string parent = path.substr(0, slash);
    const bool isKnown = std::any_of(distribution.tree.begin(), distribution.tree.end(),
                                     [&](const TreeEntry &entry) { return entry.path == parent; });
    if (!isKnown) {
      distribution.tree.push_back({parent, TreeEntry::Kind::directory, 0755, 0, "", 0});
    }
  }
}

std::string stemOf(size_t number) {
  std::array<char, 24> stem{};
  (void)snprintf(stem.data(), stem.size(), "%06zu", number);
  return stem.data();
}

// The segment's two files lie in the directory afterwards.
sprig::Segment makeSegment(const std::string &directory, const std::string &stem,
                           const std::string &id, const std::string &content) {
  tool::Digest digest;
  digest.add(content);
  const sprig::Octets checksum = digest.finish();
  sprig::Segment segment(id, tool::hexadecimal(checksum).substr(0, 16));
  segment.set_location(stem + ".dat");
  segment.set_size(content.size());
  segment.set_checksum(checksum);
  sprig::PropertyList description;
  description.put("segment", sprig::PropertyList(segment.description()));
  description.save(directory + '/' + stem + ".toc", sprig::Layout::bare);
  writeFile(directory + '/' + stem + ".dat", content);
  return segment;
}

} // namespace

Distribution makeDistribution(const std::string &directory, const std::string &id,
                              const TreeFiles &files, size_t segmentSize) {
  std::filesystem::create_directories(directory);
  Distribution distribution;
  distribution.id = id;
  for (const TreeFile &file : files) {
    addParents(distribution, file.path);
    TreeEntry entry{file.path, TreeEntry::Kind::file, 0644, someTime, "", 0};
    for (size_t at = 0; at < file.content.size();
         at += std::min(segmentSize, file.content.size())) {
      const std::string slice =
          ++entry.segmentCount == 1 ? "" : '@' + std::to_string(entry.segmentCount);
      distribution.table.push_back(makeSegment(directory, stemOf(distribution.table.size() + 1),
                                               file.path + slice,
                                               file.content.substr(at, segmentSize)));
    }
    distribution.tree.push_back(entry);
  }
  distribution.save(directory + '/' + Distribution::fileName);
  return distribution;
}

std::string contentOf(size_t size, uint32_t seed) {
  std::minstd_rand numbers(seed);
  std::string content(size, '\0');
  std::generate(content.begin(), content.end(), [&] { return static_cast<char>(numbers() >> 8); });
  return content;
}

} // namespace test
