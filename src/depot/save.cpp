#include "depot/save.h"

#include <cerrno>
#include <string_view>

#include "depot/operation.h"
#include "depot/ownership.h"

using namespace sprig;

namespace {

// The file that a first save makes: nothing for one whose system cannot tell it from others.
using MadeFile = std::optional<FileIdentity>;

PalError writeAll(PalFileHandle file, std::string_view text) {
  size_t count = 0;
  const PalError written = PalFileWrite(file, text.data(), text.size(), &count);
  constexpr PalError cutShort{PAL_SYSTEM_CALL_FAILED, ENOSPC, 2};
  return written.palError == PAL_OK && count < text.size() ? cutShort : written;
}

// What was longer before keeps its old end, behind the NUL of the new text: readers stop there. A
// new file that cannot be written goes again, before anybody has seen it.
PalError writeToc(const DepotEntry &entry, std::string_view text, MadeFile *made) {
  const uint32_t flags = PAL_FILE_CREATE | PAL_FILE_WRITE;
  PalFileHandle file{};
  PalError result =
      PalFileOpen(&file, entry.toc_path, made == nullptr ? flags : flags | PAL_FILE_EXCLUSIVE);
  if (result.palError == PAL_OK) {
    FileIdentity identity;
    if (made != nullptr && identify(file, identity)) {
      *made = identity;
    }
    result = writeAll(file, text);
    if (result.palError != PAL_OK && made != nullptr) {
      PalFileRemove(entry.toc_path);
    }
  }
  PalFileClose(file);
  return result;
}

PalError saveUnlocked(Depot *depot, DepotEntry *entry, MadeFile *made) {
  static constexpr OperationName name("DepotSaveEntry_internal");
  constexpr PalError isAnothers{PAL_SYSTEM_CALL_FAILED, EEXIST, 3};
  const Operation operation(name, depot != nullptr && entry != nullptr);
  if (!operation) {
    return operation.failure();
  }
  if (isTakenOver(*depot, *entry)) {
    return isAnothers;
  }
  char *text = nullptr;
  uint32_t length = 0;
  PalError result = DepotEntrySetProperties(depot, entry, &text, &length);
  if (result.palError == PAL_OK) {
    result = writeToc(*entry, {text, length}, made);
  }
  PalMemoryFree(text);
  return result;
}

PalError saveLocked(Depot *depot, DepotEntry *entry, MadeFile *made) {
  static constexpr OperationName name("DepotSaveEntry");
  const Operation operation(name, entry != nullptr, depot, &Depot::entryLock, name.needed());
  return operation ? saveUnlocked(depot, entry, made) : operation.failure();
}

} // namespace

PalError DepotSaveEntry_internal(Depot *depot, DepotEntry *entry) {
  return saveUnlocked(depot, entry, nullptr);
}

PalError DepotSaveEntry(Depot *depot, DepotEntry *entry) {
  return saveLocked(depot, entry, nullptr);
}

PalError sprig::saveNewEntry(Depot *depot, DepotEntry *entry, std::optional<FileIdentity> *made) {
  return saveLocked(depot, entry, made);
}
