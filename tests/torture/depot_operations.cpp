// The operations that are tried under failures, on an entry "a" of version "1" whose files are the
// first of their bucket.
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fcntl.h>

#include "support/pal_error.h"
#include "torture/depot_faults.h"

namespace test {
namespace {

using Prepare = std::function<void(DepotSubject &)>;
using Act = std::function<bool(DepotSubject &)>;

const char *const toc = "depot/00000092.0.xml";
const char *const data = "depot/00000092.0.dat";

// More than a reader expects of a TOC file.
const std::string longProperties(4000, 'A');

bool isOk(const PalError &error) { return error.palError == PAL_OK; }

bool yes(DepotSubject & /*subject*/) { return true; }

void nothing(DepotSubject & /*subject*/) {}

bool isGone(DepotSubject & /*subject*/) {
  return !std::filesystem::exists(toc) && !std::filesystem::exists(data);
}

Toc entryToc(const std::string &count, const std::string &state) {
  Toc entry;
  entry.id = "a";
  entry.referenceCount = count;
  entry.state = state;
  return entry;
}

// Whether the entry was saved with these values.
Act isSaved(const std::string &count, const std::string &state) {
  return [=](DepotSubject & /*subject*/) {
    Toc saved;
    return parseToc(readFile(toc), saved) && saved.referenceCount == count && saved.state == state;
  };
}

DepotEntry *find(DepotSubject &subject) { return DepotGetEntry(subject.depot, "a", "1"); }

bool get(DepotSubject &subject) {
  subject.entry = find(subject);
  return subject.entry != nullptr;
}

// Whether the entry is that pair: another one is added where the first could not be read.
bool isPair(DepotSubject &subject) {
  const DepotEntry &entry = *subject.entry;
  return strcmp(entry.id, "a") == 0 && strcmp(entry.version, "1") == 0;
}

// Whether the entry is the one that stands on disk.
bool isIt(DepotSubject &subject) {
  return isPair(subject) && strcmp(subject.entry->toc_path, toc) == 0;
}

bool add(DepotSubject &subject) {
  subject.entry = DepotAddEntry(subject.depot, "a", "1", "properties", 10);
  return subject.entry != nullptr;
}

void makeUnlisted(DepotSubject &subject) {
  subject.unlisted = DepotEntryNew();
  for (char *DepotEntry::*string :
       {&DepotEntry::id, &DepotEntry::version, &DepotEntry::toc_path, &DepotEntry::location}) {
    subject.unlisted->*string = PalStringDup("text");
  }
}

template <auto release> bool freeUnlisted(DepotSubject &subject) {
  const bool isFreed = isOk(release(subject.depot, subject.unlisted));
  subject.unlisted = isFreed ? nullptr : subject.unlisted;
  return isFreed;
}

// An operation on a record that is all it needs.
template <auto use> bool onEntry(DepotSubject &subject) {
  return isOk(use(subject.depot, subject.entry));
}
template <auto use> bool onEntryForced(DepotSubject &subject) {
  return isOk(use(subject.depot, subject.entry, 1));
}

bool setDirectory(DepotSubject &subject) {
  char *before = subject.depot->directory;
  const bool isSet = isOk(DepotSetDir(subject.depot, "other"));
  subject.text = before != subject.depot->directory ? before : nullptr;
  return isSet;
}

bool setProperties(DepotSubject &subject) {
  return isOk(
      DepotEntrySetProperties(subject.depot, subject.entry, &subject.text, &subject.number));
}

template <typename Open> bool opens(DepotSubject &subject, Open open) {
  const bool isOpen = isOk(open(subject));
  EXPECT_EQ(subject.file.handle != nullptr, isOpen) << "no file is left";
  return isOpen;
}

// The fixture's way to put files into the depot.
struct Files : DepotFaults {
  using DepotFaults::putEntry;
  using DepotFaults::putToc;
};

Prepare put(const std::string &count, const std::string &state,
            const std::string &properties = "") {
  return [=](DepotSubject & /*subject*/) {
    Toc entry = entryToc(count, state);
    entry.properties = properties;
    Files::putEntry(entry);
  };
}

Prepare load(const std::string &count, const std::string &state,
             const std::string &properties = "") {
  return [=](DepotSubject &subject) {
    put(count, state, properties)(subject);
    EXPECT_TRUE(get(subject));
  };
}

// Which of them a lookup finds depends on the order of the names, so that it has to walk.
Prepare putTwice(const std::string &properties = "") {
  return [=](DepotSubject & /*subject*/) {
    Toc entry = entryToc("0", "1");
    entry.properties = properties;
    Files::putEntry(entry);
    Files::putEntry(entry, 1);
  };
}

Toc otherVersion(const std::string &deadline = "0") {
  Toc other = entryToc("1", "1");
  other.version = "2";
  other.deadline = deadline;
  return other;
}

void putOther(DepotSubject & /*subject*/) { Files::putEntry(otherVersion()); }

void putExpired(DepotSubject &subject) {
  put("1", "1")(subject);
  Files::putEntry(otherVersion(std::to_string(INT32_MAX)), 1);
}

// The directory's names are known already when the entry comes.
void putIntoListed(DepotSubject &subject) {
  EXPECT_FALSE(get(subject));
  put("0", "1")(subject);
}

// Since the directory's names are known, the entry's file and another one have changed places.
void exchangeListed(DepotSubject &subject) {
  put("0", "1")(subject);
  Files::putEntry(otherVersion(), 1);
  EXPECT_EQ(DepotGetEntry(subject.depot, "a", "3"), nullptr);
  EXPECT_EQ(renameat2(AT_FDCWD, toc, AT_FDCWD, "depot/00000092.1.xml", RENAME_EXCHANGE), 0);
}

void loadReplaced(DepotSubject &subject) {
  load("0", "1")(subject);
  Toc other = otherVersion();
  other.location = data;
  Files::putToc("00000092.0.xml", other);
}

// A record whose text hides a tag behind its own, so that elements are filled in one by one.
void loadHidden(DepotSubject &subject) {
  load("0", "1")(subject);
  PalMemoryFree(subject.entry->id);
  subject.entry->id = PalStringDup(("<version></version>" + longProperties).c_str());
}

void beginWalk(DepotSubject &subject) {
  put("0", "1", longProperties)(subject);
  EXPECT_TRUE(isOk(DepotEnumNew(subject.depot, &subject.walk)));
}

bool isKnown(DepotSubject &subject) { return subject.size == 4; }

std::vector<DepotOperation> handleOperations() {
  return {
      {"New", nothing, [](DepotSubject &s) { return isOk(DepotNew(&s.made, "depot", 0)); },
       [](DepotSubject &s) { return s.made != nullptr; }, true},
      {"NewDirectory", nothing, [](DepotSubject &s) { return isOk(DepotNew(&s.made, "other", 0)); },
       [](DepotSubject &s) { return s.made != nullptr; }, true},
      {"Free", load("0", "1"),
       [](DepotSubject &s) {
         const PalError freed = DepotFree(s.depot);
         s.depot = isOk(freed) || freed.palError == PAL_WAIT_TIMEOUT ? nullptr : s.depot;
         return isOk(freed);
       },
       yes, true},
      {"SetDir", nothing, setDirectory,
       [](DepotSubject & /*s*/) { return std::filesystem::is_directory("other"); }},
  };
}

std::vector<DepotOperation> recordOperations() {
  return {
      {"EntryNew", nothing,
       [](DepotSubject &s) {
         s.unlisted = DepotEntryNew();
         return s.unlisted != nullptr;
       },
       yes},
      {"EntryNewFromToc", nothing,
       [](DepotSubject &s) {
         Toc other = entryToc("0", "1");
         other.id = "another";
         other.properties = "AAAA";
         s.entry = DepotEntryNewFromToc(s.depot, other.bytes().c_str());
         return s.entry != nullptr;
       },
       [](DepotSubject &s) { return DepotFindEntryIndex(s.depot, "another", "1") != -1; }},
      {"EntrySetProperties", load("0", "1", longProperties), setProperties,
       [](DepotSubject &s) {
         Toc written;
         return parseToc({s.text, s.number}, written) && written.properties == longProperties;
       }},
      {"EntrySetPropertiesOfHiddenTag", loadHidden, setProperties,
       [](DepotSubject &s) { return s.text != nullptr; }},
      {"SaveEntry", load("0", "0"),
       [](DepotSubject &s) {
         s.entry->reference_count = 12;
         return isOk(DepotSaveEntry(s.depot, s.entry));
       },
       isSaved("12", "0")},
      {"SaveEntry_internal", load("0", "0"),
       [](DepotSubject &s) {
         s.entry->reference_count = 12;
         return isOk(DepotSaveEntry_internal(s.depot, s.entry));
       },
       isSaved("12", "0")},
      {"EntryFree", makeUnlisted, freeUnlisted<DepotEntryFree>, yes},
      {"FreeEntry_internal", makeUnlisted, freeUnlisted<DepotFreeEntry_internal>, yes},
  };
}

std::vector<DepotOperation> lookupOperations() {
  return {
      {"FindBucket", nothing,
       [](DepotSubject &s) {
         s.text = DepotFindBucket("a", "1");
         return s.text != nullptr;
       },
       [](DepotSubject &s) { return strcmp(s.text, "00000092") == 0; }},
      {"FindEntryIndex", load("0", "1"),
       [](DepotSubject &s) { return DepotFindEntryIndex(s.depot, "a", "1") != -1; }, yes},
      {"GetEntry", put("0", "1"), get, isIt},
      {"GetEntryOfListedDirectory", putIntoListed, get, isIt},
      {"GetEntryExchanged", exchangeListed, get,
       [](DepotSubject &s) { return strcmp(s.entry->toc_path, "depot/00000092.1.xml") == 0; }},
      {"GetEntryOfLargeFile", put("0", "1", longProperties), get, isIt},
      {"GetEntryOfTwoFiles", putTwice(), get, yes},
      {"GetEntryOfTwoLargeFiles", putTwice(longProperties), get, yes},
      {"GetEntryLoaded", load("0", "1"), get, isIt},
      {"GetEntryLoadedOfLargeFile", load("0", "1", longProperties), get, isIt},
      {"GetEntryReplaced", loadReplaced, [](DepotSubject &s) { return find(s) == nullptr; }, yes},
      {"GetEntryMissing", nothing, [](DepotSubject &s) { return find(s) == nullptr; }, yes},
      {"GetEntry_internal", put("0", "1"),
       [](DepotSubject &s) {
         s.entry = DepotGetEntry_internal(s.depot, "a", "other", &s.list);
         return s.entry == nullptr;
       },
       yes},
  };
}

std::vector<DepotOperation> lifeOperations() {
  return {
      {"AddEntry", nothing, add,
       [](DepotSubject &s) {
         Toc saved;
         return isIt(s) && parseToc(readFile(toc), saved) && !saved.properties.empty() &&
                std::filesystem::exists(data);
       }},
      {"AddEntryToBucket", putOther, add,
       [](DepotSubject & /*s*/) { return std::filesystem::exists("depot/00000092.1.dat"); }},
      {"AddEntryExisting", put("0", "1"), add, isPair},
      {"FileOpenForWrite", load("0", "1"),
       [](DepotSubject &s) {
         return opens(s, [](DepotSubject &o) {
           return DepotFileOpenForWrite(o.depot, o.entry, &o.file, 1);
         });
       },
       [](DepotSubject & /*s*/) { return std::filesystem::file_size(data) == 0; }},
      {"FileOpenForRead", load("0", "1"),
       [](DepotSubject &s) {
         return opens(
             s, [](DepotSubject &o) { return DepotFileOpenForRead(o.depot, o.entry, &o.file); });
       },
       yes},
      {"EntryChangeState", load("0", "1"),
       [](DepotSubject &s) { return isOk(DepotEntryChangeState(s.depot, s.entry, 5)); },
       isSaved("0", "5")},
      {"CompleteEntry", load("0", "0"),
       [](DepotSubject &s) { return isOk(DepotCompleteEntry(s.depot, s.entry, 0)); },
       isSaved("1", "1")},
      {"EntryModified", load("1", "1"),
       [](DepotSubject &s) {
         s.isEntryLockLeft = DepotEntryModified(s.depot, "a", "1", 77) == 1;
         return s.isEntryLockLeft;
       },
       yes},
      {"EntryModifiedNot", load("1", "1"),
       [](DepotSubject &s) { return DepotEntryModified(s.depot, "a", "1", 0) == 0; }, yes},
  };
}

std::vector<DepotOperation> endOperations() {
  return {
      {"UnregisterEntryOfOthers", load("2", "0"), onEntryForced<DepotUnregisterEntry>,
       isSaved("1", "1")},
      {"UnregisterEntry", load("1", "1"), onEntryForced<DepotUnregisterEntry>, isGone},
      {"RemoveEntry", load("1", "1"), onEntryForced<DepotRemoveEntry>, isGone},
      {"RemoveEntry_internal", load("1", "1"), onEntryForced<DepotRemoveEntry_internal>, isGone},
      {"FreeEntry", load("1", "1"), onEntry<DepotFreeEntry>,
       [](DepotSubject &s) { return DepotFindEntryIndex(s.depot, "a", "1") == -1; }},
  };
}

std::vector<DepotOperation> spaceOperations() {
  return {
      {"ReserveDiskSpace", [](DepotSubject &s) { s.depot->maxSpace = s.depot->availableSpace = 9; },
       [](DepotSubject &s) { return isOk(DepotReserveDiskSpace(s.depot, 4)); },
       [](DepotSubject &s) { return s.depot->availableSpace == 5; }},
      {"UnreserveDiskSpace", [](DepotSubject &s) { s.depot->maxSpace = 9; },
       [](DepotSubject &s) {
         DepotUnreserveDiskSpace(s.depot, 4);
         return true;
       },
       yes},
      {"AdjustReservedSpace", load("0", "1"),
       [](DepotSubject &s) { return isOk(DepotAdjustReservedSpace(s.depot, "a", "1")); }, yes},
      {"EntryGetFileSize", load("0", "1"),
       [](DepotSubject &s) { return isOk(DepotEntryGetFileSize(s.depot, s.entry, &s.size)); },
       isKnown},
      {"SetCheckpointOffset", load("0", "1"),
       [](DepotSubject &s) {
         return isOk(DepotSetCheckpointOffset(s.depot, "a", "1", 0, &s.size));
       },
       isKnown},
      {"SetSegmentSize", load("0", "1"), onEntry<DepotSetSegmentSize>,
       [](DepotSubject &s) { return s.entry->size == 4; }},
      {"GetPermStorage", putTwice(),
       [](DepotSubject &s) { return isOk(DepotGetPermStorage(s.depot, &s.number)); },
       [](DepotSubject &s) { return s.number <= 2; }},
  };
}

std::vector<DepotOperation> walkOperations() {
  return {
      {"EnumNew", nothing, [](DepotSubject &s) { return isOk(DepotEnumNew(s.depot, &s.walk)); },
       [](DepotSubject &s) { return s.walk != nullptr; }},
      {"EntryEnumNextElement", beginWalk,
       [](DepotSubject &s) {
         s.entry = DepotEntryEnumNextElement(s.walk);
         return s.entry != nullptr;
       },
       isIt},
      {"EntryEnumDelete", beginWalk,
       [](DepotSubject &s) {
         const bool isDeleted = isOk(DepotEntryEnumDelete(s.walk));
         s.walk = isDeleted ? nullptr : s.walk;
         return isDeleted;
       },
       yes},
      {"PurgeExpiredEntries", putExpired,
       [](DepotSubject &s) { return isOk(DepotPurgeExpiredEntries(s.depot)); },
       [](DepotSubject & /*s*/) { return std::filesystem::exists("depot/00000092.1.xml"); }},
      {"Purge", putTwice(), [](DepotSubject &s) { return isOk(DepotPurge(s.depot, 1)); }, yes},
  };
}

} // namespace

const std::vector<DepotOperation> &DepotFaults::operations() {
  static const std::vector<DepotOperation> all = [] {
    std::vector<DepotOperation> joined;
    for (const auto &group :
         {handleOperations(), recordOperations(), lookupOperations(), lifeOperations(),
          endOperations(), spaceOperations(), walkOperations()}) {
      joined.insert(joined.end(), group.begin(), group.end());
    }
    return joined;
  }();
  return all;
}

} // namespace test
