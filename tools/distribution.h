// A distribution: a directory tree, and the segments that its files are sent in.
//
// On disk it is a directory with the file "distribution", which tells all of it, and for each
// segment a file with its data and one, "*.toc", with its description: so that streams find the
// segments there as on any medium.
#ifndef SPRIG_TOOLS_DISTRIBUTION_H
#define SPRIG_TOOLS_DISTRIBUTION_H

#include <cstdint>
#include <string>
#include <vector>

#include <sprig/sprig.hpp>

namespace tool {

// A file, a directory or a symbolic link of the tree.
struct TreeEntry {
  enum class Kind { file, directory, link };

  std::string path; // from the top of the tree
  Kind kind = Kind::file;
  uint32_t mode = 0;         // permissions; not of links
  int64_t modified = 0;      // seconds since the epoch; of files
  std::string target;        // where a link leads
  uint32_t segmentCount = 0; // how many of the table's next segments a file consists of
};

struct Distribution {
  // The name of the file that tells of a distribution, in its directory.
  static constexpr const char *fileName = "distribution";

  std::string id;
  std::vector<TreeEntry> tree;  // parents stand before what is in them
  sprig::TableOfContents table; // the segments of the files, in the tree's order

  // The bytes of its data.
  uint64_t size() const;
  uint64_t fileCount() const;
  // "3 files, 45.0 KiB", and " in 3 segments" behind it.
  std::string amount() const;
  std::string amountInSegments() const;

  sprig::Octets encode() const;
  // Throws Failure, which names `origin`, for bytes that are no distribution, or one that nobody
  // should unpack: paths that lead out of the tree, or through what is no directory.
  static Distribution decode(const sprig::Octets &octets, const std::string &origin);

  void save(const std::string &path) const;
  static Distribution load(const std::string &path);
};

// Whether text may be the id of a distribution, which names files and stands in stream keys:
// 1 to 64 letters, digits, dots, hyphens and underscores, no dot in front.
bool isDistributionId(const std::string &text);

// Throws Failure, status wrongUsage, for text that may not.
void refuseUnlessDistributionId(const std::string &text);

} // namespace tool

#endif
