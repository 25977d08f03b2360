// The directory that a distribution is received into.
#ifndef SPRIG_TOOLS_RECEIVE_TARGET_H
#define SPRIG_TOOLS_RECEIVE_TARGET_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "digest.h"
#include "distribution.h"
#include "file.h"

namespace tool {

// Keeps what has arrived of each segment in a part file, under ".sprig/ID" in the directory, and
// puts the files in place when all of it is verified. What a run leaves behind, however it ended,
// is where the next one goes on.
class Target {
public:
  // Makes the directory where it is missing; `name` is what a person calls it. Throws Failure where
  // another receive is at work there, or something is in the way of a directory of the tree.
  Target(std::string directory, std::string name, const Distribution &distribution);

  // Looks at what is there from before: files that are in place, and parts of segments.
  void scan();

  // How much of a segment is there. All of it is there only when it is verified.
  uint64_t have(size_t segment) const { return segments_[segment].have; }
  bool isVerified(size_t segment) const { return segments_[segment].isVerified; }
  bool isAllVerified() const;
  // The bytes that are there, of all segments.
  uint64_t haveInAll() const { return haveInAll_; }
  uint64_t sizeInAll() const { return distribution_.size(); }
  // Where the data of a segment are until they are put in place.
  std::string partPath(size_t segment) const;

  // The segments whose data are in parts: those of files that are not in place yet.
  std::vector<size_t> segmentsInParts() const;

  // Puts the files in place, and everything else of the tree, and takes what was kept of it away.
  void place();

  // The directory of the part files.
  const std::string &partsDirectory() const noexcept { return parts_; }
  const std::string &directory() const noexcept { return directory_; }

private:
  friend class Part;

  struct Segment {
    uint64_t have = 0;
    bool isVerified = false;
  };

  void note(size_t segment, Segment now);
  void lock();
  void tryToLock();
  void makeDirectories();
  void scanFile(const TreeEntry &entry, size_t first);
  void scanPart(size_t segment);
  bool isInPlace(const TreeEntry &entry, size_t first) const;
  bool matches(const TreeEntry &entry, size_t first) const;
  void placeFile(const TreeEntry &entry, size_t first);
  void placeLink(const TreeEntry &entry) const;
  void appendParts(const std::string &path, size_t first, uint32_t count) const;
  size_t indexOf(const TreeEntry &entry) const {
    return static_cast<size_t>(&entry - distribution_.tree.data());
  }
  bool isPlaced(const TreeEntry &entry) const { return isPlaced_[indexOf(entry)]; }
  std::string pathOf(const TreeEntry &entry) const { return directory_ + '/' + entry.path; }
  void removeParts() const;
  uint64_t sizeOf(size_t segment) const;
  // Calls `visit` with each file and the index of its first segment.
  template <typename Visit> void forEachFile(Visit visit) const;

  std::string directory_;
  std::string name_;
  const Distribution &distribution_;
  std::string parts_;
  Descriptor lock_;
  std::vector<Segment> segments_;
  uint64_t haveInAll_ = 0;
  std::vector<bool> isPlaced_; // of the tree's entries
};

// A segment that is being received: where its next bytes go.
class Part {
public:
  // Goes on where the segment's part file ends.
  Part(Target &target, size_t segment);

  size_t segment() const noexcept { return segment_; }
  uint64_t missing() const;
  // At most so many bytes as are missing.
  void write(std::string_view bytes);
  // Ends it. Where all its bytes are there and match its SHA-256, it counts as verified. Otherwise
  // what was written goes, and the answer is why.
  std::optional<std::string> finish();

private:
  Target &target_;
  size_t segment_;
  OutputFile file_;
  Digest digest_;
};

} // namespace tool

#endif
