#include "distribution.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>

#include "failure.h"
#include "file.h"
#include "output.h"
#include "reason.h"

namespace tool {
namespace {

using Kind = TreeEntry::Kind;

constexpr const char *idKey = "id";
constexpr const char *treeKey = "tree";
constexpr const char *tableKey = "toc";
constexpr const char *pathKey = "path";
constexpr const char *typeKey = "type";
constexpr const char *modeKey = "mode";
constexpr const char *modifiedKey = "mtime";
constexpr const char *targetKey = "target";
constexpr const char *segmentsKey = "segments";

constexpr std::array<const char *, 3> kindNames{"file", "directory", "link"};
constexpr uint32_t permissions = 07777;

[[noreturn]] void refuse(const std::string &what) { throw Failure(what); }

Kind kindNamed(const std::string &name) {
  const auto *found = std::find(kindNames.begin(), kindNames.end(), name);
  if (found == kindNames.end()) {
    refuse("an entry of the unknown type \"" + printable(name) + '"');
  }
  return static_cast<Kind>(found - kindNames.begin());
}

int64_t timeOf(const std::string &text) {
  int64_t time = 0;
  const char *end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, time);
  if (error != std::errc() || next != end) {
    refuse("\"" + printable(text) + "\" for a time");
  }
  return time;
}

sprig::PropertyList describe(const TreeEntry &entry) {
  sprig::PropertyList list;
  list.put(pathKey, entry.path);
  list.put(typeKey, kindNames[static_cast<size_t>(entry.kind)]);
  if (entry.kind == Kind::link) {
    list.put(targetKey, entry.target);
    return list;
  }
  list.put(modeKey, entry.mode);
  if (entry.kind == Kind::file) {
    list.put(modifiedKey, std::to_string(entry.modified));
    list.put(segmentsKey, entry.segmentCount);
  }
  return list;
}

TreeEntry readEntry(sprig::ConstPropertyView list) {
  TreeEntry entry;
  entry.path = list.get<std::string>(pathKey);
  entry.kind = kindNamed(list.get<std::string>(typeKey));
  if (entry.kind == Kind::link) {
    entry.target = list.get<std::string>(targetKey);
    return entry;
  }
  entry.mode = list.get<uint32_t>(modeKey) & permissions;
  if (entry.kind == Kind::file) {
    entry.modified = timeOf(list.get<std::string>(modifiedKey));
    entry.segmentCount = list.get<uint32_t>(segmentsKey);
  }
  return entry;
}

// Where a receive keeps what has arrived.
bool isReserved(std::string_view path) { return path.substr(0, path.find('/')) == ".sprig"; }

// A path that stays inside of the tree and has one spelling.
bool isPlainPath(std::string_view path) {
  for (;;) {
    const size_t slash = path.find('/');
    const std::string_view name = path.substr(0, slash);
    if (name.empty() || name == "." || name == "..") {
      return false;
    }
    if (slash == std::string_view::npos) {
      return true;
    }
    path.remove_prefix(slash + 1);
  }
}

void checkPaths(const std::vector<TreeEntry> &tree) {
  std::map<std::string, Kind> known{{"", Kind::directory}};
  for (const TreeEntry &entry : tree) {
    const size_t slash = entry.path.rfind('/');
    const auto parent = known.find(slash == std::string::npos ? "" : entry.path.substr(0, slash));
    if (!isPlainPath(entry.path) || isReserved(entry.path) || parent == known.end() ||
        parent->second != Kind::directory || !known.emplace(entry.path, entry.kind).second) {
      refuse("the path \"" + printable(entry.path) + '"');
    }
  }
}

void checkSegments(const Distribution &distribution) {
  uint64_t count = 0;
  for (const TreeEntry &entry : distribution.tree) {
    count += entry.segmentCount;
  }
  if (count != distribution.table.size()) {
    refuse("a table of " + counted(distribution.table.size(), "segment") + " for files of " +
           std::to_string(count));
  }
  std::set<std::pair<std::string_view, std::string_view>> names;
  for (const sprig::ConstSegmentView segment : distribution.table) {
    if (segment.size() <= 0 || segment.checksum().size() != 32 ||
        !names.emplace(segment.id(), segment.version()).second) {
      refuse("the segment \"" + printable(segment.id()) + '"');
    }
  }
}

Distribution read(const sprig::Octets &octets) {
  const sprig::PropertyList list = sprig::PropertyList::decode(octets);
  Distribution distribution;
  distribution.id = list.get<std::string>(idKey);
  if (!isDistributionId(distribution.id)) {
    refuse("the id \"" + printable(distribution.id) + '"');
  }
  for (const sprig::ConstPropertyView entry : list.get<sprig::ConstPropertyListsView>(treeKey)) {
    distribution.tree.push_back(readEntry(entry));
  }
  distribution.table = sprig::TableOfContents(list.get<sprig::ConstPropertyListsView>(tableKey));
  checkPaths(distribution.tree);
  checkSegments(distribution);
  return distribution;
}

} // namespace

uint64_t Distribution::size() const {
  uint64_t total = 0;
  for (const sprig::ConstSegmentView segment : table) {
    total += static_cast<uint64_t>(segment.size());
  }
  return total;
}

uint64_t Distribution::fileCount() const {
  return static_cast<uint64_t>(std::count_if(
      tree.begin(), tree.end(), [](const TreeEntry &entry) { return entry.kind == Kind::file; }));
}

std::string Distribution::amount() const {
  return counted(fileCount(), "file") + ", " + shownSize(size());
}

std::string Distribution::amountInSegments() const {
  return amount() + " in " + counted(table.size(), "segment");
}

sprig::Octets Distribution::encode() const {
  sprig::PropertyLists entries;
  for (const TreeEntry &entry : tree) {
    entries.push_back(describe(entry));
  }
  sprig::PropertyList list;
  list.put(idKey, id);
  list.put(treeKey, entries);
  list.put(tableKey, sprig::PropertyLists(sprig::ConstPropertyListsView(table)));
  return list.encode();
}

Distribution Distribution::decode(const sprig::Octets &octets, const std::string &origin) {
  const std::string isNone = origin + ": not a distribution that can be used: ";
  try {
    return read(octets);
  } catch (const Failure &failure) {
    throw Failure(isNone + failure.what());
  } catch (const sprig::Error &error) {
    throw Failure(isNone + reasonOf(error));
  }
}

void Distribution::save(const std::string &path) const {
  const sprig::Octets octets = encode();
  OutputFile file(path);
  file.write({reinterpret_cast<const char *>(octets.data()), octets.size()});
  file.close();
}

Distribution Distribution::load(const std::string &path) {
  constexpr uint64_t most = 268435456; // as a message of the channel
  InputFile file(path);
  if (file.size() > most) {
    throw Failure(path + ": not a distribution that can be used: too large");
  }
  sprig::Octets octets(file.size());
  size_t count = 0;
  while (const size_t more = file.read(octets.data() + count, octets.size() - count)) {
    count += more;
  }
  octets.resize(count);
  return decode(octets, path);
}

bool isDistributionId(const std::string &text) {
  static constexpr std::string_view allowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  return !text.empty() && text.size() <= 64 && text.front() != '.' &&
         text.find_first_not_of(allowed) == std::string::npos;
}

void refuseUnlessDistributionId(const std::string &text) {
  if (!isDistributionId(text)) {
    throw Failure("\"" + printable(text) + "\" cannot be the id of a distribution",
                  "use up to 64 letters, digits, dots, hyphens and underscores", wrongUsage);
  }
}

} // namespace tool
