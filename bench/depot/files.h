// An entry's files as a depot has them, by plain system calls.
#ifndef SPRIG_BENCH_DEPOT_FILES_H
#define SPRIG_BENCH_DEPOT_FILES_H

#include <cstdint>
#include <string>
#include <unordered_map>

#include <dirent.h>

#include "depot/store.h"

namespace bench {

using TocPaths = std::unordered_map<std::string, std::string>; // by identityText()

bool readText(const std::string &path, std::string &text);
bool writeText(const std::string &path, const std::string &text, int furtherFlags = 0);
bool makeEmptyFile(const std::string &path);

// The beginning of the names of an entry's files.
std::string bucketName(const Entry &entry);
void nameFiles(Entry &entry, const std::string &directory, uint32_t index);

// Makes the directory of a store with the files of its entries.
TocPaths fillDirectory(const Place &place);

// Calls visit(name) for the names in a directory until it returns true; whether it did.
template <typename Visit> bool visitNames(const std::string &directory, Visit visit) {
  DIR *stream = opendir(directory.c_str());
  bool isDone = false;
  for (const dirent *file = nullptr;
       !isDone && stream != nullptr && (file = readdir(stream)) != nullptr;) {
    isDone = visit(file->d_name);
  }
  if (stream != nullptr) {
    closedir(stream);
  }
  return isDone;
}

} // namespace bench

#endif
