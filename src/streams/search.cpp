// Searching a directory for segments.
#include "streams/search.h"

#include <cstring>

#include <sys/stat.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "framework/try_frame.h"

namespace {

constexpr const char *segmentKey = "segment";
constexpr const char *cdDirectory = "/cdrom";

// Descriptions of segments, one a file.
struct Pass {
  const char *pattern;
  void (*load)(Properties *list, const char *path);
};
constexpr Pass passes[]{{"*.toc", properties_load_without_len},
                        {"*.itc", properties_load_improved}};

// What a description says; the text is the description's.
struct Described {
  const char *id;
  const char *version;
  const char *location; // null where it says none
};

struct Search {
  Toc *toc;
  const char *directory; // a path name
  StringList *foundPaths;
};

bool isDirectory(const char *path) {
  struct stat status {};
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool isFile(const char *path) {
  struct stat status {};
  return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

bool endsInSeparator(const char *path) {
  const size_t length = strlen(path);
  return length > 0 && (path[length - 1] == '/' || path[length - 1] == '\\');
}

// A path name for the innermost frame, or null where there is no such directory.
char *pathOf(const char *directory) {
  if (directory == nullptr || strnlen(directory, static_cast<size_t>(pathname_max_length())) ==
                                  static_cast<size_t>(pathname_max_length())) {
    return nullptr;
  }
  char *path = pathname_clone(directory);
  ex_delegate(path, mg_free);
  const size_t length = strlen(path);
  if (length > 1 && endsInSeparator(path)) {
    path[length - 1] = '\0';
  }
  if (!isDirectory(path)) {
    pathname_append_separator(path);
  }
  return isDirectory(path) ? path : nullptr;
}

// For the innermost frame.
char *join(const char *directory, const char *name) {
  char *path = pathname_build_filename(directory, endsInSeparator(directory) ? "" : "/", name);
  ex_delegate(path, mg_free);
  return path;
}

// False where the file cannot be loaded or describes no segment, which is logged.
bool load(const Pass &pass, const char *path, Properties *list, Described &described) {
  const bool isLoaded = sprig::catchAll(
      [&] {
        pass.load(list, path);
        const Properties *segment = properties_get_properties(list, segmentKey);
        described = {properties_get_string(segment, SEGMENT_ID_KEY),
                     properties_get_string(segment, SEGMENT_VERSION_KEY),
                     properties_get_string2(segment, SEGMENT_LOCATION_KEY, nullptr)};
      },
      [](void *) {});
  if (!isLoaded) {
    LogQ("sprig: %s describes no segment.", path);
  }
  return isLoaded;
}

bool isWanted(const Segment *segment, const Described &described) {
  return segment->found == 0 && strcmp(segment->id, described.id) == 0 &&
         strcmp(segment->version, described.version) == 0;
}

// A comma separates the names in a list of files.
bool canBeListed(const char *path) {
  const bool hasComma = strchr(path, ',') != nullptr;
  if (hasComma) {
    LogQ("sprig: %s has a comma and cannot be read.", path);
  }
  return !hasComma;
}

// The data are in the file of the directory that is named as at the source.
void findData(const Search &search, Segment *segment, const Described &described) {
  const char *location =
      described.location != nullptr
          ? described.location
          : properties_get_string2(segment->properties, SEGMENT_LOCATION_KEY, nullptr);
  if (location == nullptr) {
    return;
  }
  const char *slash = strrchr(location, '/');
  const char *path = join(search.directory, slash == nullptr ? location : slash + 1);
  if (strlen(path) >= static_cast<size_t>(pathname_max_length())) {
    LogQ("sprig: %s is too long a path.", path);
  } else if (isFile(path)) {
    sprig::setFoundWithSize(search.toc, segment, path, search.foundPaths);
  }
}

void searchFile(const Search &search, const Pass &pass, const char *name) {
  Properties list{}; // is still there when the frame releases it
  sprig::inTryFrame([&] {
    ex_delegate(&list, [](void *loaded) { properties_delete(static_cast<Properties *>(loaded)); });
    Described described{};
    if (!load(pass, join(search.directory, name), &list, described)) {
      return;
    }
    for (int32_t i = 0; i < search.toc->count; ++i) {
      if (isWanted(search.toc->segments[i], described)) {
        findData(search, search.toc->segments[i], described);
      }
    }
  });
}

void searchFiles(const Search &search, const Pass &pass, Dir *dir) {
  sprig::inTryFrame([&] {
    DirEntryEnum *entries = dir_entries(dir, pass.pattern);
    ex_delegate(entries,
                [](void *walk) { dir_entry_enum_delete(static_cast<DirEntryEnum *>(walk)); });
    while (dir_entry_enum_has_more_elements(entries) != 0) {
      searchFile(search, pass, dir_entry_enum_next_element(entries));
    }
  });
}

} // namespace

void sprig::setFound(Toc *toc, Segment *segment, const char *path, StringList *foundPaths) {
  if (!canBeListed(path)) {
    return;
  }
  properties_put_string_dup(segment->properties, SEGMENT_DATA_PATH_KEY, path);
  if (foundPaths != nullptr) {
    inTryFrame([&] {
      char *copy = mg_strdup(path);
      ex_delegate(copy, mg_free);
      seq_add(foundPaths, &copy, sizeof copy);
      ex_undelegate(copy, 0);
    });
  }
  segment->found = 1;
  ++toc->found_count;
}

void sprig::setFoundWithSize(Toc *toc, Segment *segment, const char *path, StringList *foundPaths) {
  if (!canBeListed(path)) {
    return;
  }
  const int32_t size = file_get_size(path);
  properties_put_string_dup(segment->properties, SEGMENT_DAT_FILE_KEY, path);
  properties_put_long_dup(segment->properties, SEGMENT_SIZE_KEY, size);
  setFound(toc, segment, path, foundPaths);
}

int net_stream_search_endpoint_depot(Toc *search, const char *directory, StringList *found_paths) {
  sprig::inTryFrame([&] {
    const char *path = pathOf(directory);
    if (path == nullptr) {
      return;
    }
    Dir *dir = dir_new(path);
    ex_delegate(dir, [](void *record) { dir_delete(static_cast<Dir *>(record)); });
    for (const Pass &pass : passes) {
      searchFiles({search, path, found_paths}, pass, dir);
    }
  });
  return 0;
}

int net_stream_search_cd_drives(Toc *search, StringList *found_paths) {
  return net_stream_search_endpoint_depot(search, cdDirectory, found_paths);
}
