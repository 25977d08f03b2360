#include "support/depot.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include <sys/ipc.h>
#include <sys/sem.h>

namespace test {
namespace {

const std::array<const char *, 3> lockFiles{"depot.lk", "entry.lk", "enum.lk"};

int semaphoreSet(const std::string &lockFile) {
  const key_t key = ftok(lockFile.c_str(), 1);
  return key == -1 ? -1 : semget(key, 1, 0);
}

// Takes "<name>...</name>" off the front of a text.
bool takeElement(std::string &text, const std::string &name, std::string &content) {
  const std::string opening = "<" + name + ">";
  const size_t end = text.find("</" + name + ">");
  if (text.compare(0, opening.size(), opening) != 0 || end == std::string::npos) {
    return false;
  }
  content = text.substr(opening.size(), end - opening.size());
  text.erase(0, end + opening.size() + 1);
  return true;
}

} // namespace

std::string Toc::bytes() const {
  return "<<id>" + id + "</id><version>" + version + "</version><reference_count>" +
         referenceCount + "</reference_count><state>" + state + "</state><checksum>" + checksum +
         "</checksum><deadline>" + deadline + "</deadline><location>" + location +
         "</location><properties>" + properties + "</properties>>" + '\0';
}

bool parseToc(const std::string &bytes, Toc &toc) {
  const size_t end = bytes.find('\0');
  if (end == std::string::npos || end < 2 || bytes.front() != '<' || bytes[end - 1] != '>') {
    return false;
  }
  std::string rest = bytes.substr(1, end - 2);
  return takeElement(rest, "id", toc.id) && takeElement(rest, "version", toc.version) &&
         takeElement(rest, "reference_count", toc.referenceCount) &&
         takeElement(rest, "state", toc.state) && takeElement(rest, "checksum", toc.checksum) &&
         takeElement(rest, "deadline", toc.deadline) &&
         takeElement(rest, "location", toc.location) &&
         takeElement(rest, "properties", toc.properties) && rest.empty();
}

std::string bucketOf(const std::string &id, const std::string &version) {
  const std::string key = id + version;
  uint32_t hash = 0;
  for (size_t k = 0; k < (key.size() + 1) / 2; ++k) {
    hash ^= static_cast<unsigned char>(key[k]);
    hash = hash << 5 | hash >> 27;
  }
  std::array<char, 16> name{};
  (void)snprintf(name.data(), name.size(), "%08u", hash % 251);
  return name.data();
}

DepotTest::DepotTest() : startDirectory_(std::filesystem::current_path()) {
  std::filesystem::current_path(directory.path());
  EXPECT_EQ(DepotNew(&depot, "depot", 0).palError, PAL_OK);
  log.clear();
}

DepotTest::~DepotTest() {
  for (Depot *other : others_) {
    DepotFree(other);
  }
  if (depot != nullptr) {
    DepotFree(depot);
  }
  std::filesystem::current_path(directory.path()); // from wherever the test went
  for (const char *lockFile : lockFiles) {
    destroySemaphore(lockFile);
  }
  for (char *string : leftBehind_) {
    PalMemoryFree(string);
  }
  std::filesystem::current_path(startDirectory_);
}

PalError DepotTest::DepotSetDir(Depot *handle, const char *path) {
  return setDirectory(::DepotSetDir, handle, path);
}

PalError DepotTest::DepotSetDir_internal(Depot *handle, const char *path) {
  return setDirectory(::DepotSetDir_internal, handle, path);
}

PalError DepotTest::setDirectory(SetDirectory set, Depot *handle, const char *path) {
  char *before = handle == nullptr ? nullptr : handle->directory;
  const PalError result = set(handle, path);
  if (handle != nullptr && handle->directory != before) {
    leftBehind_.push_back(before);
  }
  return result;
}

Depot *DepotTest::openAnother() {
  Depot *other = nullptr;
  EXPECT_EQ(DepotNew(&other, "depot", 0).palError, PAL_OK);
  others_.push_back(other);
  log.clear();
  return other;
}

void DepotTest::putToc(const std::string &name, const Toc &toc) {
  writeFile(path(name), toc.bytes());
}

std::string DepotTest::putEntry(Toc toc, int index) {
  const std::string stem = bucketOf(toc.id, toc.version) + "." + std::to_string(index);
  toc.location = path(stem + ".dat");
  writeFile(toc.location, "data");
  putToc(stem + ".xml", toc);
  return toc.location;
}

Toc DepotTest::readToc(const std::string &path) {
  Toc toc;
  EXPECT_TRUE(parseToc(readFile(path), toc)) << path << ": " << readFile(path);
  return toc;
}

std::vector<std::string> DepotTest::names() {
  std::vector<std::string> result;
  for (const auto &entry : std::filesystem::directory_iterator("depot")) {
    result.push_back(entry.path().filename());
  }
  std::sort(result.begin(), result.end());
  return result;
}

std::vector<std::string> DepotTest::stems(const std::string &ending) {
  std::vector<std::string> result;
  for (const std::string &name : names()) {
    if (name.ends_with(ending)) {
      result.push_back(name.substr(0, name.size() - ending.size()));
    }
  }
  return result;
}

DepotEntry *DepotTest::add(const std::string &id, const std::string &version) {
  DepotEntry *entry = DepotAddEntry(depot, id.c_str(), version.c_str(), nullptr, 0);
  EXPECT_NE(entry, nullptr);
  return entry;
}

DepotEntry *DepotTest::addComplete(const std::string &id, const std::string &version,
                                   int32_t deadline) {
  EXPECT_EQ(DepotCompleteEntry(depot, add(id, version), deadline).palError, PAL_OK);
  return DepotGetEntry(depot, id.c_str(), version.c_str());
}

std::vector<DepotEntry *> DepotTest::loaded() const {
  std::vector<DepotEntry *> result;
  PalList1Iterator iterator{};
  EXPECT_EQ(PalList1IteratorCreate(&depot->entries, &iterator).palError, PAL_OK);
  int32_t descriptor = 0;
  PalListValue value = 0;
  while (iterator.next(&iterator.state, &descriptor, &value).palError == PAL_OK) {
    result.push_back(reinterpret_cast<DepotEntry *>(value)); // NOLINT(performance-no-int-to-ptr)
  }
  iterator.end(&iterator.state);
  return result;
}

int DepotTest::semaphore(const std::string &lockFile) {
  const int set = semaphoreSet(lockFile);
  return set == -1 ? -1 : semctl(set, 0, GETVAL);
}

void DepotTest::destroySemaphore(const std::string &lockFile) {
  const int set = semaphoreSet(lockFile);
  if (set != -1) {
    EXPECT_EQ(semctl(set, 0, IPC_RMID), 0);
  }
}

} // namespace test
