#include "depot/lookup.h"

#include "depot/entry.h"
#include "depot/index.h"
#include "depot/log.h"
#include "depot/operation.h"
#include "depot/toc.h"
#include "depot/toc_file.h"

using namespace sprig;

namespace {

constexpr TocReadTexts verifyTexts{
    "DepotVerifyEntry_internal error %d opening file %s\n",
    "DepotVerifyEntry_internal error %d retrieving size of file %s\n",
    "DepotVerifyEntry_internal error allocating memory buffer for file read\n",
    "DepotVerifyEntry_internal error %d reading file %s\n"};

constexpr TocReadTexts searchTexts{
    "DepotGetEntry_internal error %d opening file %s\n",
    "DepotGetEntry_internal error %d retrieving size of file %s\n",
    "DepotGetEntry_internal error allocating memory buffer for file read\n",
    "DepotGetEntry_internal error %d reading file %s\n"};

// A loaded record, brought up to date with its TOC file. One that the file no longer describes, or
// whose file cannot be read, is dropped.
DepotEntry *findVerified(Depot &depot, const char *id, const char *version) {
  DepotEntry *entry = loadedEntry(depot, DepotFindEntryIndex(&depot, id, version));
  if (entry == nullptr) {
    return nullptr;
  }
  TocFile file;
  const bool isRead = file.read(entry->toc_path, &verifyTexts);
  const ReadContents contents = isRead ? readContents(file.text()) : ReadContents{};
  const bool isVerified = describes(contents, entry->id, entry->version);
  if (!isVerified) {
    removeLoaded(depot, *entry); // while it is still the pair that it was listed for
  }
  if (isRead) {
    reloadFromToc(*entry, contents);
  }
  if (!isVerified) {
    releaseEntry(&depot, entry);
    return nullptr;
  }
  return entry;
}

// A search on disk for an entry that is not loaded.
class Search {
public:
  Search(Depot &depot, const char *bucket, const char *id, const char *version,
         const LookupWishes &wishes)
      : depot_(depot), bucket_(bucket), id_(id), version_(version), wishes_(wishes) {}

  DepotEntry *run() {
    const bool isAnswered =
        depot_.index != nullptr && depot_.index->names.refresh(depot_) && askNames();
    if (!isAnswered) {
      walk();
    }
    return found_;
  }

private:
  // Looks among the names in memory; false when only a walk can tell.
  bool askNames() {
    TocNames &names = depot_.index->names;
    const char *name = nullptr;
    const TocNames::Answer answer = names.find(bucket_, id_, version_, &name);
    const bool isAnswered =
        answer == TocNames::Answer::none || (answer == TocNames::Answer::one && takeSoleName(name));
    if (isAnswered && wishes_.indexList != nullptr) {
      names.visitIndexes(bucket_, [&](long index) { PalList1Add(wishes_.indexList, index); });
    }
    if (isAnswered && wishes_.unusedIndex != nullptr) {
      *wishes_.unusedIndex = names.smallestUnusedIndex(bucket_);
    }
    return isAnswered;
  }

  bool takeSoleName(const char *name) {
    char *path = pathOf(depot_.directory, name);
    const bool isTaken = path != nullptr && file_.read(path, nullptr) && isIt();
    if (isTaken) {
      load(path);
    } else {
      PalMemoryFree(path);
    }
    return isTaken;
  }

  // Reads the TOC files of the bucket, one by one, until one describes the entry or cannot be read.
  void walk() {
    PalDirHandle directory{};
    const bool isOpen = PalDirOpen(&directory, depot_.directory).palError == PAL_OK;
    char name[1024];
    while (isOpen && PalDirReadDirectory(name, directory).palError == PAL_OK) {
      if (std::string_view(name).starts_with(bucket_) && isTocName(name) && endsAt(name)) {
        break;
      }
    }
    const PalError closed = PalDirClose(directory);
    if (isOpen && closed.palError != PAL_OK) {
      Logger(workaroundLevel, "DepotGetEntry_internal error %d closing directory handle\n",
             closed.palError);
    }
    if (wishes_.unusedIndex != nullptr) {
      *wishes_.unusedIndex = met_.smallestUnused();
    }
  }

  // Whether the walk ends with that file.
  bool endsAt(const char *name) {
    noteIndex(indexInName(name));
    char *path = pathOf(depot_.directory, name);
    if (path == nullptr) {
      logFormat(workaroundLevel, searchTexts.memory);
      return true;
    }
    const bool isRead = file_.read(path, &searchTexts);
    if (isRead && isIt()) {
      load(path);
      return true;
    }
    PalMemoryFree(path);
    return !isRead;
  }

  // Whether the file that was read last is that of the entry.
  bool isIt() {
    contents_ = readContents(file_.text());
    return describes(contents_, id_, version_);
  }

  void noteIndex(long index) {
    if (wishes_.indexList != nullptr) {
      PalList1Add(wishes_.indexList, index);
    }
    if (wishes_.unusedIndex != nullptr) {
      met_.add(index);
    }
  }

  // Makes the record of the file that was read last. It takes over the path.
  void load(char *path) {
    found_ = newEntryFromToc(&depot_, contents_);
    if (found_ == nullptr) {
      PalMemoryFree(path);
      Logger(workaroundLevel,
             "DepotGetEntry_internal call to DepotEntryNewFromToc returned null\n");
      return;
    }
    found_->toc_path = path;
    noteTocFile(depot_, *found_, file_.identity());
  }

  Depot &depot_;
  const char *bucket_;
  const char *id_;
  const char *version_;
  const LookupWishes &wishes_;
  TocFile file_{true};
  ReadContents contents_;
  UsedIndexes met_;
  DepotEntry *found_ = nullptr;
};

DepotEntry *findOnDisk(Depot &depot, const char *id, const char *version,
                       const LookupWishes &wishes) {
  constexpr int32_t listSize = 64;
  char *bucket = DepotFindBucket(id, version);
  DepotEntry *entry = nullptr;
  if (bucket != nullptr &&
      (wishes.indexList == nullptr || PalList1Create(wishes.indexList, listSize, listSize) == 0)) {
    entry = Search(depot, bucket, id, version, wishes).run();
  }
  PalMemoryFree(bucket);
  return entry;
}

} // namespace

DepotEntry *sprig::lookUp(Depot *depot, const char *id, const char *version,
                          const LookupWishes &wishes) {
  static constexpr OperationName name("DepotGetEntry_internal");
  const Operation operation(name, depot != nullptr && id != nullptr && version != nullptr);
  if (!operation) {
    return nullptr;
  }
  DepotEntry *entry = findVerified(*depot, id, version);
  return entry != nullptr ? entry : findOnDisk(*depot, id, version, wishes);
}

DepotEntry *DepotGetEntry_internal(Depot *depot, const char *id, const char *version,
                                   PalList1 *indexList) {
  return lookUp(depot, id, version, {indexList, nullptr});
}

DepotEntry *DepotGetEntry(Depot *depot, const char *id, const char *version) {
  static constexpr OperationName name("DepotGetEntry");
  const Operation operation(name, id != nullptr && version != nullptr, depot, &Depot::depotLock,
                            name.needed(), HeldLock::Mode::shared);
  return operation ? lookUp(depot, id, version, {}) : nullptr;
}

int32_t DepotFindEntryIndex(Depot *depot, const char *id, const char *version) {
  static constexpr OperationName name("DepotFindEntryIndex");
  Operation operation(name, depot != nullptr && id != nullptr && version != nullptr);
  if (!operation) {
    return -1;
  }
  // Nothing is stepped through with it. That it can be had is part of the operation.
  PalList1Iterator iterator{};
  const PalError created = PalList1IteratorCreate(&depot->entries, &iterator);
  if (created.palError != PAL_OK) {
    operation.endWith(created, name.refused.text);
    return -1;
  }
  iterator.end(&iterator.state);
  return findLoaded(*depot, id, version);
}
