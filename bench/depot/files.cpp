#include "depot/files.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr mode_t fileMode = 0600;
constexpr mode_t directoryMode = 0700;

} // namespace

bool readText(const std::string &path, std::string &text) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file == -1) {
    return false;
  }
  struct stat status {};
  bool isRead = fstat(file, &status) == 0;
  if (isRead) {
    text.resize(static_cast<size_t>(status.st_size));
    isRead = read(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  close(file);
  return isRead;
}

bool writeText(const std::string &path, const std::string &text, int furtherFlags) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | furtherFlags, fileMode);
  if (file == -1) {
    return false;
  }
  const bool isWritten = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return isWritten;
}

bool makeEmptyFile(const std::string &path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, fileMode);
  return file != -1 && close(file) == 0;
}

std::string bucketName(const Entry &entry) {
  std::array<char, sizeof "00000250"> name{};
  (void)snprintf(name.data(), name.size(), "%08u", static_cast<unsigned>(bucketOf(entry)));
  return name.data();
}

void nameFiles(Entry &entry, const std::string &directory, uint32_t index) {
  const std::string stem = directory + '/' + bucketName(entry) + '.' + std::to_string(index) + '.';
  entry.tocPath = stem + "xml";
  entry.dataPath = stem + "dat";
}

TocPaths fillDirectory(const Place &place) {
  require(mkdir(place.path.c_str(), directoryMode) == 0, place.path);
  std::array<uint32_t, bucketCount> nextIndex{};
  TocPaths paths;
  for (uint32_t number = 0; number < place.size; ++number) {
    Entry entry = makeEntry(place.spread, number);
    nameFiles(entry, place.path, nextIndex[bucketOf(entry)]++);
    require(writeText(entry.tocPath, tocText(entry, true), O_EXCL) && makeEmptyFile(entry.dataPath),
            entry.tocPath);
    paths.emplace(identityText(entry), entry.tocPath);
  }
  return paths;
}

} // namespace bench
