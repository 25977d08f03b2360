// What the depot logs when memory runs out or the system fails one of its steps.
#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "torture/depot_faults.h"

using test::FaultKind;
using test::LogLine;

namespace {

const std::string toc = "depot/00000092.0.xml";
const std::string data = "depot/00000092.0.dat";

const FaultKind noMemory{"malloc", ENOMEM};
const FaultKind unopened{"open", EMFILE};
const FaultKind unread{"read", EIO};
const FaultKind unmeasured{"fstat", EIO};
const FaultKind unwritten{"write", ENOSPC};
const FaultKind unremoved{"remove", EBUSY};
const FaultKind unclosed{"closedir", EIO};
const FaultKind unlocked{"semop", EIDRM};
const FaultKind withoutSet{"semget", ENOSPC};

// A failure of an operation's calls, and lines that it leads to.
struct Expected {
  std::string operation; // its name in the list of operations
  FaultKind kind;
  std::vector<LogLine> lines;
};

class DepotFaultLines : public test::DepotFaults {
protected:
  void expectAll(const std::vector<Expected> &all) {
    for (const Expected &expected : all) {
      const std::vector<LogLine> seen = sweep(find(expected.operation), expected.kind);
      for (const LogLine &line : expected.lines) {
        EXPECT_NE(std::find(seen.begin(), seen.end(), line), seen.end())
            << expected.operation << ", " << expected.kind.function << ": " << line;
      }
    }
  }

private:
  static const test::DepotOperation &find(const std::string &name) {
    const auto found =
        std::find_if(operations().begin(), operations().end(),
                     [&](const test::DepotOperation &operation) { return operation.name == name; });
    EXPECT_NE(found, operations().end()) << name;
    return *found;
  }
};

const std::string gone = "Error -2(" + std::to_string(EIDRM) + ") obtaining lock\n";

LogLine refused(const std::string &operation) { return {0, operation + " exit.  " + gone}; }
LogLine unreleased(const std::string &operation) {
  return {1, operation + " error -2 releasing lock\n"};
}
LogLine ignored(const std::string &what) { return {1, what + " continue. Ignore WAIT_TIMEOUT\n"}; }

} // namespace

TEST_F(DepotFaultLines, TellWhyAHandleCannotBeHad) {
  const LogLine path12{0, "DepotNew exit.  Error 12 creating semaphore path\n"};
  const LogLine path4{0, "DepotNew exit.  Error -4 creating semaphore path\n"};
  const LogLine semaphore{0, "DepotNew PalInitSem failed\n"};
  expectAll({
      {"New",
       noMemory,
       {{0, "DepotNew exit.  Error allocating depot handle\n"},
        path12,
        semaphore,
        {0, "DepotNew exit.  Error 12(0) creating depot synchronization object\n"},
        {0, "DepotNew exit.  Error 12(0) creating entry synchronization object\n"},
        {0, "DepotNew exit.  Error creating depot entry list\n"}}},
      {"New", unopened, {path4}},
      {"New",
       withoutSet,
       {ignored("DepotNew depot"),
        ignored("DepotNew entry"),
        {1, "DepotSetDir error -2 releasing depot lock\n"},
        {1, "DepotSetDir error -2 releasing entry lock\n"}}},
      {"New",
       unlocked,
       {{1, "DepotSetDir error -2 releasing depot lock\n"},
        {1, "DepotSetDir error -2 releasing entry lock\n"}}},
  });
}

TEST_F(DepotFaultLines, TellWhyAHandleCannotBeReleased) {
  expectAll({
      {"Free", noMemory, {{0, "DepotFree exit.  Error 12 creating iterator for depot entries\n"}}},
      {"Free", unlocked, {ignored("DepotFree"), refused("DepotFreeEntry_internal")}},
  });
}

TEST_F(DepotFaultLines, TellThatALockCannotBeHadOrGivenBack) {
  const std::vector<std::string> plain{"SetDir",
                                       "SaveEntry",
                                       "FileOpenForWrite",
                                       "FileOpenForRead",
                                       "EntryChangeState",
                                       "RemoveEntry",
                                       "RemoveEntry_internal",
                                       "ReserveDiskSpace",
                                       "UnreserveDiskSpace",
                                       "EntryGetFileSize",
                                       "SetCheckpointOffset",
                                       "SetSegmentSize",
                                       "GetPermStorage",
                                       "EntryEnumNextElement",
                                       "EntryEnumDelete",
                                       "Purge"};
  std::vector<Expected> all;
  all.reserve(plain.size());
  for (const std::string &name : plain) {
    all.push_back({name, unlocked, {refused("Depot" + name), unreleased("Depot" + name)}});
  }
  expectAll(all);
  expectAll({
      {"EntryFree", unlocked, {refused("DepotEntryFree")}},
      {"FreeEntry_internal", unlocked, {refused("DepotFreeEntry_internal")}},
      {"GetEntry", unlocked, {refused("DepotGetEntry"), unreleased("DepotGetEntry")}},
      {"EntryModified", unlocked, {refused("DepotEntryModified")}},
      {"EntryModifiedNot", unlocked, {unreleased("DepotEntryModified")}},
      {"AddEntry", unlocked, {ignored("DepotAddEntry"), unreleased("DepotAddEntry")}},
      {"CompleteEntry",
       unlocked,
       {ignored("DepotCompleteEntry entry"), unreleased("DepotCompleteEntry"),
        ignored("DepotFree")}},
      {"FreeEntry", unlocked, {ignored("DepotFree"), unreleased("DepotFreeEntry")}},
      {"AdjustReservedSpace", unlocked, {refused("DepotUnreserveDiskSpace")}},
      {"UnregisterEntry",
       unlocked,
       {{0, "DepotUnregisterEntry exit.  Error -2 obtaining depot lock\n"},
        {0, "DepotUnregisterEntry exit.  Error -2 obtaining entry lock\n"},
        {1, "DepotUnregisterEntry error -2 releasing entry lock\n"},
        {1, "DepotUnregisterEntry error -2 releasing depot lock\n"}}},
      {"EnumNew", unlocked, {{1, "DepotEnumNew error -2 releasing enum lock\n"}}},
      {"GetPermStorage", unlocked, {{1, "DepotGetPermStorage error -2 freeing enumerator\n"}}},
      {"PurgeExpiredEntries",
       unlocked,
       {ignored("DepotPurgeExpiredEntries entry"),
        {1, "DepotPurgeExpiredEntries error" + gone.substr(5)},
        {1, "DepotPurgeExpiredEntries error -2 releasing lock\n"},
        {1, "DepotPurgeExpiredEntries error -2 removing depot entry\n"},
        {1, "DepotPurgeExpiredEntris error -2 releasing lock\n"}}},
      {"Purge", unlocked, {{1, "DepotPurge error -2 removing depot entry\n"}}},
  });
}

TEST_F(DepotFaultLines, TellWhyALoadedRecordIsNotBelieved) {
  const std::string verify = "DepotVerifyEntry_internal error ";
  expectAll({
      {"GetEntryLoaded", unopened, {{1, verify + "-4 opening file " + toc + "\n"}}},
      {"GetEntryLoaded", unread, {{1, verify + "-4 reading file " + toc + "\n"}}},
      {"GetEntryLoaded", noMemory, {{1, verify + "12 opening file " + toc + "\n"}}},
      {"GetEntryLoadedOfLargeFile",
       unmeasured,
       {{1, verify + "-4 retrieving size of file " + toc + "\n"}}},
      {"GetEntryLoadedOfLargeFile",
       noMemory,
       {{1, verify + "allocating memory buffer for file read\n"}}},
      {"GetEntryLoadedOfLargeFile",
       {"lseek", EIO},
       {{1, verify + "-4 reading file " + toc + "\n"}}},
      {"FindEntryIndex",
       noMemory,
       {{0, "DepotFindEntryIndex exit.  Error 12(0) obtaining lock\n"}}},
  });
}

TEST_F(DepotFaultLines, TellWhyASearchOnDiskEnds) {
  const std::string search = "DepotGetEntry_internal error ";
  expectAll({
      {"GetEntry", unopened, {{1, search + "-4 opening file " + toc + "\n"}}},
      {"GetEntry", unread, {{1, search + "-4 reading file " + toc + "\n"}}},
      {"GetEntry",
       noMemory,
       {{1, "DepotGetEntry_internal call to DepotEntryNewFromToc returned null\n"}}},
      {"GetEntryOfTwoLargeFiles",
       noMemory,
       {{1, search + "allocating memory buffer for file read\n"}}},
      {"GetEntryOfLargeFile",
       unmeasured,
       {{1, search + "-4 retrieving size of file " + toc + "\n"}}},
      {"GetEntryOfTwoFiles", unclosed, {{1, search + "-4 closing directory handle\n"}}},
  });
}

TEST_F(DepotFaultLines, TellThatADataFileCannotBeOpenedOrItsOpenCounted) {
  const auto lines = [](const std::string &name, const std::string &code) -> std::vector<LogLine> {
    return {{0, name + " exit.  Error " + code + " opening segment data file\n"},
            {1, name + " error " + code + " updating segment attributes\n"}};
  };
  for (const std::string operation : {"FileOpenForWrite", "FileOpenForRead"}) {
    const std::string name = "Depot" + operation;
    expectAll({{operation, noMemory, lines(name, "12")},
               {operation, unopened, lines(name, "-4")},
               {operation, unwritten, {{1, name + " error -4 updating segment attributes\n"}}}});
  }
}

TEST_F(DepotFaultLines, TellWhatCannotBeRemoved) {
  const auto unremovedFile = [](const std::string &code, const std::string &path) {
    return LogLine{1, "DepotRemoveEntry_internal exit.  Error " + code + " removing file " + path +
                          "\n"};
  };
  for (const std::string operation :
       {"RemoveEntry", "RemoveEntry_internal", "UnregisterEntry", "Purge", "PurgeExpiredEntries"}) {
    expectAll({
        {operation, unremoved, {unremovedFile("-4", data), unremovedFile("-4", toc)}},
        {operation, noMemory, {unremovedFile("12", data), unremovedFile("12", toc)}},
    });
  }
  for (const std::string operation : {"Purge", "PurgeExpiredEntries"}) {
    expectAll({
        {operation, unremoved, {{1, "Depot" + operation + " error -4 removing depot entry\n"}}},
        {operation, noMemory, {{1, "Depot" + operation + " error 12 removing depot entry\n"}}},
    });
  }
}

TEST_F(DepotFaultLines, TellWhyAnEnumerationCannotBegin) {
  expectAll({
      {"EnumNew",
       noMemory,
       {{0, "DepotEnumNew exit.  Error 12 creating semaphore path\n"},
        {0, "DepotEnumNew error 12 creating lock\n"}}},
      {"EnumNew", unopened, {{0, "DepotEnumNew exit.  Error -4 creating semaphore path\n"}}},
      {"EnumNew", withoutSet, {{0, "DepotEnumNew error -2 creating lock\n"}}},
  });
  for (const std::string name : {"Purge", "PurgeExpiredEntries", "GetPermStorage"}) {
    const std::string begin = "Depot" + name + " exit.  Error ";
    expectAll({
        {name, noMemory, {{0, begin + "12 creating enumerator\n"}}},
        {name, {"opendir", EMFILE}, {{0, begin + "-4 creating enumerator\n"}}},
        {name, withoutSet, {{0, begin + "-2 creating enumerator\n"}}},
    });
  }
}

TEST_F(DepotFaultLines, TellWhyAnEnumerationEnds) {
  const std::string next = "DepotEntryEnumNextElement ";
  expectAll({
      {"EntryEnumNextElement", unopened, {{1, next + "error -4 opening file " + toc + "\n"}}},
      {"EntryEnumNextElement", unread, {{1, next + "error -4 reading file " + toc + "\n"}}},
      {"EntryEnumNextElement",
       unmeasured,
       {{1, next + "error -4 obtaining size of file " + toc + "\n"}}},
      {"EntryEnumNextElement",
       noMemory,
       {{1, next + "error allocating memory to read file " + toc + "\n"},
        {1, next + "null returned by DepotEntryNewFromToc\n"},
        {1, next + "PalStringDup of " + toc + " failed\n"}}},
      {"EntryEnumDelete",
       unclosed,
       {{1, "DepotEntryEnumDelete error -4 closing directory handle\n"}}},
      {"GetPermStorage",
       {"stat", EACCES},
       {{0, "DepotGetPermStorage error -4 obtaining file size\n"}}},
  });
}
