// The status file of a distribution: its record, and its names.
#include <cstdio>
#include <cstring>
#include <utility>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "files/work_directory.h"
#include "framework/new_record.h"
#include "records/copy.h"
#include "records/replace_file.h"

namespace {

constexpr const char *idKey = "msid";
constexpr const char *directoryName = "mstat";

// A distribution in progress, and one that is done.
struct Kind {
  const char *suffix;
  const char *doneSuffix;
};
constexpr Kind usual{"mds", "mdf"};
constexpr Kind alternative{"ads", "adf"};

void release(void *status) { mstat_free(static_cast<Mstat *>(status)); }

void fill(Mstat *status, const char *distributionId, const Kind &kind) {
  status->directory = sprig::directoryInWorkDirectory(directoryName);
  if (status->directory == nullptr) {
    return;
  }
  status->distribution_id = mg_strdup(distributionId);
  static_cast<void>(snprintf(status->suffix, sizeof status->suffix, "%3.3s", kind.suffix));
  status->properties = properties_new();
}

bool isComplete(const Mstat *status) {
  return status->directory != nullptr && status->distribution_id != nullptr;
}

bool hasId(const Properties *properties) {
  const int32_t index = properties_get_property_index(properties, idKey);
  return index != -1 && TypeCode_equal(properties->buffer[index].value.type, TC_string) != 0;
}

bool formFileName(Mstat *status) {
  if (status->file_name == nullptr) {
    status->file_name = find_dist_fname(status->directory, status->distribution_id, status->suffix);
  }
  return status->file_name != nullptr;
}

// What the suffix at the end of a name becomes when the distribution is done; null: it stays.
const char *doneSuffixAt(const char *suffix) {
  for (const Kind &kind : {usual, alternative}) {
    if (strcmp(suffix, kind.suffix) == 0) {
      return kind.doneSuffix;
    }
  }
  return nullptr;
}

} // namespace

Mstat *mstat_new(const char *distribution_id, int alternative_flag) {
  Mstat *status = nullptr;
  const bool isMade = sprig::catchAll(
      [&] {
        status = sprig::newRecord<Mstat>(release, [&](Mstat *made) {
          fill(made, distribution_id, alternative_flag == 0 ? usual : alternative);
        });
      },
      [](void *) {});
  if (isMade && !isComplete(status)) {
    mstat_free(status);
    return nullptr;
  }
  return status;
}

int mstat_load(Mstat *status) {
  if (!formFileName(status)) {
    return -1;
  }
  Properties loaded{};
  sprig::inTryFrame([&] {
    ex_delegate(&loaded, [](void *list) { properties_delete(static_cast<Properties *>(list)); });
    properties_load_without_len(&loaded, status->file_name);
    std::swap(loaded, *status->properties);
  });
  return 0;
}

int mstat_save(Mstat *status) {
  if (!hasId(status->properties)) {
    properties_put_string_dup(status->properties, idKey, status->distribution_id);
  }
  if (!formFileName(status)) {
    return -1;
  }
  sprig::replaceFile(status->properties, status->file_name);
  return 0;
}

void mstat_done(Mstat *status) {
  if (!formFileName(status)) {
    return;
  }
  char *name = pathname_clone(status->file_name);
  char *suffix = strstr(name, status->suffix);
  if (suffix == nullptr) {
    LogMsg(1, 0, 0, -1, "Error: Invalid pathname %1$s", name);
  } else {
    if (const char *done = doneSuffixAt(suffix)) {
      strcpy(suffix, done);
    }
    static_cast<void>(rename(status->file_name, name));
    strcpy(status->file_name, name);
    static_cast<void>(snprintf(status->suffix, sizeof status->suffix, "%s", suffix));
  }
  pathname_delete(name);
}

void mstat_free(Mstat *status) {
  if (status == nullptr) {
    return;
  }
  mg_free(status->file_name);
  mg_free(status->directory);
  mg_free(status->distribution_id);
  sprig::releaseList(status->properties);
  mg_free(status);
}

Properties *mstat_get_properties(Mstat *status) { return status->properties; }
