#include "depot/toc_names.h"

#include <cerrno>
#include <cstring>

#include "depot/index.h"
#include "depot/toc_text.h"
#include "posix/process.h"

namespace sprig {
namespace {

uint64_t hashOf(std::string_view bucket, std::string_view id, std::string_view version) {
  return TextHash().add(bucket).add(id).add(version).value();
}

std::string_view bucketIn(std::string_view name) { return name.substr(0, bucketNameLength); }

} // namespace

uint32_t TocNames::numberOf(std::string_view name) {
  uint32_t number = 0;
  for (const char digit : bucketIn(name)) {
    if (digit < '0' || digit > '9') {
      return NearestPrime;
    }
    number = 10 * number + static_cast<uint32_t>(digit - '0');
  }
  return name.size() < bucketNameLength || number > NearestPrime ? NearestPrime : number;
}

bool TocNames::refresh(const Depot &depot) {
  path_ = depot.directory;
  const DirectoryLock &lock = depot.index->directoryLock;
  DirectoryIdentity directory;
  if (lock.held() != nullptr) {
    directory = *lock.held();
  } else if (!identify(depot.directory, directory)) {
    return false;
  }
  const pid_t process = currentProcess();
  const bool isWatched = watch_.isRunning() && process == process_ && directory == directory_;
  if (isWatched && watch_.tell(*this) && isComplete_) {
    return true;
  }
  process_ = process;
  return restart(directory);
}

// The watch comes first, so that nothing falls between it and the list. The path has to lead to the
// same directory before and behind both.
bool TocNames::restart(const DirectoryIdentity &directory) {
  forget();
  DirectoryIdentity listed;
  isComplete_ = watch_.start(path_) && list() && identify(path_, listed) && listed == directory &&
                watch_.tell(*this) && isComplete_;
  directory_ = directory;
  if (!isComplete_) {
    forget();
  }
  return isComplete_;
}

bool TocNames::list() {
  PalDirHandle stream{};
  isComplete_ = PalDirOpen(&stream, path_).palError == PAL_OK;
  char name[1024];
  const auto readName = [&] {
    errno = 0; // is what tells the end from a failure
    return PalDirReadDirectory(name, stream).palError == PAL_OK;
  };
  while (isComplete_ && readName()) {
    isComplete_ = add(name);
  }
  isComplete_ = isComplete_ && errno == 0;
  PalDirClose(stream);
  return isComplete_;
}

void TocNames::forget() {
  watch_.stop();
  pairs_.clear([](Node *) {});
  names_.clear([](Node *node) {
    PalMemoryFree(node->pair);
    PalMemoryFree(node);
  });
  for (Bucket &bucket : buckets_) {
    bucket.unread = nullptr;
    bucket.read = nullptr;
    bucket.indexes.clear();
  }
}

void TocNames::changed(std::string_view name, DirectoryWatch::Change change) {
  using Change = DirectoryWatch::Change;
  if (!isOfBucket(name)) {
    return;
  }
  if (change == Change::movedAway) {
    change = isNameGone(name) ? Change::removed : Change::made;
  }
  Node *node = findName(name);
  if (node == nullptr) {
    isComplete_ = (change != Change::made || add(name)) && isComplete_;
  } else if (change == Change::removed) {
    remove(*node);
  } else {
    forgetPair(*node);
    takeOutOfList(*node);
    putIntoList(*node, false);
  }
}

bool TocNames::isOfBucket(std::string_view name) {
  return isTocName(name) && numberOf(name) != NearestPrime;
}

bool TocNames::isNameGone(std::string_view name) const {
  char *path = joined({path_, "/", name});
  const bool result = path != nullptr && isGone(path);
  PalMemoryFree(path);
  return result;
}

// True for names that are nobody's TOC file, too.
bool TocNames::add(std::string_view name) {
  if (!isOfBucket(name) || findName(name) != nullptr) {
    return true;
  }
  auto *node = static_cast<Node *>(PalMemoryCalloc(1, sizeof(Node) + name.size() + 1));
  if (node == nullptr) {
    return false;
  }
  memcpy(node->name, name.data(), name.size());
  if (!bucketOf(*node).indexes.add(indexInName(node->name))) {
    PalMemoryFree(node);
    return false;
  }
  if (!names_.insert(*node, TextHash().add(name).value())) {
    bucketOf(*node).indexes.remove(indexInName(node->name));
    PalMemoryFree(node);
    return false;
  }
  putIntoList(*node, false);
  return true;
}

void TocNames::remove(Node &node) {
  forgetPair(node);
  takeOutOfList(node);
  bucketOf(node).indexes.remove(indexInName(node.name));
  names_.erase(node);
  PalMemoryFree(&node);
}

TocNames::Node *TocNames::findName(std::string_view name) const {
  Node *node = names_.find(TextHash().add(name).value());
  while (node != nullptr && name != node->name) {
    node = decltype(names_)::findNext(*node);
  }
  return node;
}

TocNames::Answer TocNames::find(const char *bucket, const char *id, const char *version,
                                const char **name) {
  Bucket &names = buckets_[numberOf(bucket)];
  TocFile file;
  while (names.unread != nullptr) {
    if (!read(*names.unread, file)) {
      return Answer::unknown;
    }
  }
  const auto isPair = [&](const Node &node) {
    return strcmp(node.pair, id) == 0 && strcmp(node.pair + strlen(id) + 1, version) == 0 &&
           bucketIn(node.name) == bucket;
  };
  size_t matches = 0;
  for (const Node *node = pairs_.find(hashOf(bucket, id, version)); node != nullptr;
       node = decltype(pairs_)::findNext(*node)) {
    if (isPair(*node)) {
      *name = node->name;
      ++matches;
    }
  }
  return matches == 0 ? Answer::none : matches == 1 ? Answer::one : Answer::unknown;
}

int32_t TocNames::smallestUnusedIndex(const char *bucket) {
  return buckets_[numberOf(bucket)].indexes.smallestUnused();
}

// Learns which entry a TOC file describes; false when that cannot be known for longer than now.
bool TocNames::read(Node &node, TocFile &file) {
  char *path = pathOf(path_, node.name);
  const bool isRead = path != nullptr && file.readSoleName(path);
  PalMemoryFree(path);
  if (!isRead) {
    return false;
  }
  const ReadContents contents = readContents(file.text());
  const auto &id = contents[tocId];
  const auto &version = contents[tocVersion];
  if (id.has_value() && version.has_value() && !rememberPair(node, *id, *version)) {
    return false;
  }
  takeOutOfList(node);
  putIntoList(node, true);
  return true;
}

bool TocNames::rememberPair(Node &node, std::string_view id, std::string_view version) {
  node.pair = static_cast<char *>(PalMemoryCalloc(id.size() + version.size() + 2, 1));
  if (node.pair == nullptr) {
    return false;
  }
  memcpy(node.pair, id.data(), id.size());
  memcpy(node.pair + id.size() + 1, version.data(), version.size());
  if (!pairs_.insert(node, hashOf(bucketIn(node.name), id, version))) {
    PalMemoryFree(node.pair);
    node.pair = nullptr;
    return false;
  }
  return true;
}

void TocNames::forgetPair(Node &node) {
  if (node.pair != nullptr) {
    pairs_.erase(node);
    PalMemoryFree(node.pair);
    node.pair = nullptr;
  }
}

void TocNames::putIntoList(Node &node, bool isRead) {
  Bucket &bucket = bucketOf(node);
  Node *&head = isRead ? bucket.read : bucket.unread;
  node.isRead = isRead;
  node.previous = nullptr;
  node.next = head;
  if (head != nullptr) {
    head->previous = &node;
  }
  head = &node;
}

void TocNames::takeOutOfList(Node &node) {
  Bucket &bucket = bucketOf(node);
  Node *&head = node.isRead ? bucket.read : bucket.unread;
  (node.previous == nullptr ? head : node.previous->next) = node.next;
  if (node.next != nullptr) {
    node.next->previous = node.previous;
  }
}

} // namespace sprig
