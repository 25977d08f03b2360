// The TOC files of a depot's directory, held in memory: their names by bucket, and which entry each
// one describes.
#ifndef SPRIG_DEPOT_TOC_NAMES_H
#define SPRIG_DEPOT_TOC_NAMES_H

#include <array>

#include <sprig/depot.h>

#include "depot/file_names.h"
#include "depot/hash.h"
#include "depot/hash_table.h"
#include "depot/toc_file.h"
#include "depot/used_indexes.h"
#include "posix/directory_lock.h"
#include "posix/directory_watch.h"

namespace sprig {

// Answers a lookup on disk as a walk through the directory would, without the walk. The directory
// is listed once and watched from then on, so that whatever any process has done to it is known at
// the next question. Where it cannot be watched, memory runs out, or an answer would depend on the
// order of the names, there is no answer, and the caller has to walk.
class TocNames final : DirectoryWatch::Listener {
public:
  TocNames() = default;
  ~TocNames() { forget(); }
  TocNames(const TocNames &) = delete;
  TocNames &operator=(const TocNames &) = delete;

  enum class Answer { unknown, none, one };

  // What has come to the directory's names is taken in; false when nothing can be asked.
  bool refresh(const Depot &depot);

  // Whether one TOC file of the bucket describes the pair; if so, `name` receives its file name,
  // which is valid until the next refresh().
  Answer find(const char *bucket, const char *id, const char *version, const char **name);

  // The smallest index that no TOC file of the bucket has, and a call of `visit` for each that they
  // have.
  int32_t smallestUnusedIndex(const char *bucket);
  template <typename Visit> void visitIndexes(const char *bucket, Visit visit) const {
    const Bucket &names = buckets_[numberOf(bucket)];
    for (const Node *list : {names.unread, names.read}) {
      for (const Node *node = list; node != nullptr; node = node->next) {
        visit(indexInName(node->name));
      }
    }
  }

private:
  // A TOC file. Its bucket has it in one of two lists.
  struct Node {
    HashLink<Node> byName;
    HashLink<Node> byPair; // once read, if it describes an entry at all
    Node *previous;
    Node *next;
    char *pair; // identifier and version, each with its NUL; null when it describes none
    bool isRead;
    char name[];
  };
  struct Bucket {
    Node *unread; // made or changed since they were last read
    Node *read;
    UsedIndexes indexes;
  };

  void changed(std::string_view name, DirectoryWatch::Change change) override;

  bool restart(const DirectoryIdentity &directory);
  bool list();
  void forget();

  bool add(std::string_view name);
  void remove(Node &node);
  Node *findName(std::string_view name) const;

  bool read(Node &node, TocFile &file);
  bool rememberPair(Node &node, std::string_view id, std::string_view version);
  void forgetPair(Node &node);
  void putIntoList(Node &node, bool isRead);
  void takeOutOfList(Node &node);

  static bool isOfBucket(std::string_view name);
  bool isNameGone(std::string_view name) const;
  // A name's bucket; one past the last for a name that is in none.
  static uint32_t numberOf(std::string_view name);
  Bucket &bucketOf(const Node &node) { return buckets_[numberOf(node.name)]; }

  const char *path_ = nullptr; // of the directory, as of the last refresh
  pid_t process_ = 0;          // that watches
  DirectoryWatch watch_;
  DirectoryIdentity directory_;
  bool isComplete_ = false; // every name has its node
  HashTable<Node, &Node::byName> names_;
  HashTable<Node, &Node::byPair> pairs_;
  std::array<Bucket, NearestPrime> buckets_{};
};

} // namespace sprig

#endif
