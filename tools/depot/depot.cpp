#include "depot/depot.h"

#include <algorithm>
#include <ctime>
#include <filesystem>

#include "catalog.h"
#include "failure.h"
#include "home.h"
#include "output.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

// As private as the library makes it.
void make(const std::string &directory) {
  std::error_code error;
  const bool isNew = fs::create_directories(directory, error);
  if (isNew && !error) {
    fs::permissions(directory, fs::perms::owner_all, error);
  }
  if (error) {
    throw systemFailure(printable(directory), error.value());
  }
}

Failure noDepot(const std::string &directory) {
  std::string text = catalogText(165, printable(directory).c_str());
  text.pop_back();
  return Failure(text, "a depot is a directory: make one with mkdir, or with \"sprig receive\"");
}

sprig::Depot opened(const std::string &directory, uint32_t limit) {
  try {
    return sprig::Depot(directory, limit);
  } catch (const sprig::DepotError &error) {
    throw Failure(printable(directory) + ": its lock files: " + reasonOf(error));
  }
}

} // namespace

std::string enterDepot(const std::string &directory, bool isMade) {
  if (isMade) {
    make(absolutePath(directory));
  }
  std::error_code error;
  fs::current_path(directory, error);
  if (error == std::errc::no_such_file_or_directory) {
    throw noDepot(directory);
  }
  if (error) {
    throw systemFailure(printable(directory), error.value());
  }
  return fs::current_path().string();
}

sprig::Depot openDepot(const std::string &directory, uint32_t limit) {
  sprig::Depot depot = opened(directory, limit);
  const uint64_t used = limit == 0 ? 0 : usedKilobytes(directory);
  static_cast<void>(depot.reserve(static_cast<uint32_t>(std::min<uint64_t>(used, limit))));
  return depot;
}

std::string reasonOf(const sprig::DepotError &error) {
  if (error.native_error() != 0) {
    return std::generic_category().message(error.native_error());
  }
  return error.code() == PAL_NOT_FOUND ? "another process has removed it" : error.what();
}

uint64_t usedKilobytes(const std::string &directory) {
  uint64_t total = 0;
  std::error_code error;
  for (fs::directory_iterator file(directory, error), end; !error && file != end;
       file.increment(error)) {
    std::error_code unknown;
    const uintmax_t size = file->path().extension() == ".dat" ? file->file_size(unknown) : 0;
    total += unknown ? 0 : kilobytes(size);
  }
  return total;
}

int32_t deadlineAfter(int64_t seconds) {
  const int64_t now = time(nullptr);
  return static_cast<int32_t>(std::min<int64_t>(now + seconds, noDeadline));
}

} // namespace tool
