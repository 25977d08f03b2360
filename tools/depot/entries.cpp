#include "depot/entries.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <tuple>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "failure.h"
#include "file.h"
#include "output.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

// The lock that the library's operations take on the directory. None of them can be called while it
// is held.
class DirectoryLock {
public:
  DirectoryLock(const std::string &directory, int operation)
      : directory_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!directory_) {
      throw systemFailure(printable(directory));
    }
    while (flock(directory_.get(), operation) == -1 && errno == EINTR) {
    }
  }

private:
  Descriptor directory_;
};

bool isTocName(std::string_view name) { return name.size() > 3 && name.ends_with("xml"); }

std::vector<fs::path> pathsIn(const std::string &directory) {
  std::vector<fs::path> paths;
  std::error_code error;
  for (fs::directory_iterator file(directory, error), end; !error && file != end;
       file.increment(error)) {
    paths.push_back(file->path());
  }
  if (error) {
    throw systemFailure(printable(directory), error.value());
  }
  return paths;
}

std::string directoryOf(const std::string &path) { return fs::path(path).parent_path().string(); }

void removeFile(const std::string &path) {
  if (unlink(path.c_str()) == -1 && errno != ENOENT) {
    throw systemFailure(printable(path));
  }
}

// What stands before the first NUL.
std::string textOf(const std::string &path) {
  constexpr size_t most = 268435456;
  InputFile file(path);
  std::string text;
  std::array<char, 4096> buffer;
  while (const size_t count = file.read(buffer.data(), buffer.size())) {
    text.append(buffer.data(), count);
    const size_t end = text.find('\0', text.size() - count);
    if (end != std::string::npos) {
      return text.substr(0, end);
    }
    if (text.size() > most) {
      throw Failure(path + ": too large");
    }
  }
  return text;
}

TocFile readText(const std::string &path) {
  TocFile file;
  file.path = path;
  try {
    file.text = textOf(path);
  } catch (const Failure &failure) {
    file.fault = std::string(failure.what()).substr(path.size() + 2); // without the path
  }
  return file;
}

// All files as they are at one moment: a text is written over in place.
std::vector<TocFile> readTexts(const std::string &directory) {
  const DirectoryLock lock(directory, LOCK_SH);
  std::vector<TocFile> files;
  for (const fs::path &path : pathsIn(directory)) {
    if (isTocName(path.filename().string())) {
      files.push_back(readText(path.string()));
    }
  }
  return files;
}

void parse(sprig::Depot &depot, TocFile &file) {
  const auto release = [&](::DepotEntry *record) {
    static_cast<void>(DepotFreeEntry(depot.native(), record));
  };
  const std::unique_ptr<::DepotEntry, decltype(release)> record(
      DepotEntryNewFromToc(depot.native(), file.text.c_str()), release);
  if (record == nullptr) {
    file.fault = "it tells of no entry";
    return;
  }
  file.entry.emplace(*record);
  file.entry->toc_path = file.path;
}

bool isOrphanedData(const fs::path &path) {
  std::error_code error;
  return path.extension() == ".dat" &&
         !fs::exists(fs::symlink_status(fs::path(path).replace_extension(".xml"), error));
}

bool isBefore(const TocFile &a, const TocFile &b) {
  if (!a.entry || !b.entry) {
    return a.entry.has_value() != b.entry.has_value() ? a.entry.has_value() : a.path < b.path;
  }
  return std::tie(a.entry->id, a.entry->version, a.path) <
         std::tie(b.entry->id, b.entry->version, b.path);
}

} // namespace

std::vector<TocFile> readTocFiles(sprig::Depot &depot) {
  std::vector<TocFile> files = readTexts(std::string(depot.directory()));
  for (TocFile &file : files) {
    if (file.fault.empty()) {
      parse(depot, file);
    }
  }
  std::sort(files.begin(), files.end(), isBefore);
  return files;
}

std::optional<struct stat> dataStatus(const sprig::DepotEntry &entry) {
  struct stat status {};
  const bool isThere = stat(entry.data_path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
  return isThere ? std::optional(status) : std::nullopt;
}

bool hasOwnData(const sprig::DepotEntry &entry) {
  const fs::path data(entry.data_path);
  const fs::path toc(entry.toc_path);
  std::error_code error;
  return data.filename() == toc.stem().string() + ".dat" &&
         fs::equivalent(data.has_parent_path() ? data.parent_path() : ".", toc.parent_path(),
                        error);
}

void discard(sprig::Depot &depot, const sprig::DepotEntry &entry) {
  if (hasOwnData(entry)) {
    depot.remove(entry.id, entry.version, true);
  } else {
    const DirectoryLock lock(directoryOf(entry.toc_path), LOCK_EX);
    removeFile(entry.toc_path);
  }
}

bool discard(const TocFile &file) {
  const DirectoryLock lock(directoryOf(file.path), LOCK_EX);
  const bool isSame = readText(file.path).text == file.text;
  if (isSame) {
    removeFile(file.path);
  }
  return isSame;
}

std::vector<std::string> orphanedData(const std::string &directory) {
  const DirectoryLock lock(directory, LOCK_SH);
  std::vector<std::string> orphans;
  for (const fs::path &path : pathsIn(directory)) {
    if (isOrphanedData(path)) {
      orphans.push_back(path.string());
    }
  }
  std::sort(orphans.begin(), orphans.end());
  return orphans;
}

bool discardOrphan(const std::string &path) {
  const DirectoryLock lock(directoryOf(path), LOCK_EX);
  const bool isOrphan = isOrphanedData(path);
  if (isOrphan) {
    removeFile(path);
  }
  return isOrphan;
}

} // namespace tool
