#include <cstddef>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "framework/new_record.h"
#include "records/copy.h"
#include "records/member.h"

namespace {

#define MEMBER(name) offsetof(Segment, name)

constexpr sprig::Member members[]{
    {&SEGMENT_ID_KEY, TC_string, MEMBER(id), true, 0},
    {&SEGMENT_VERSION_KEY, TC_string, MEMBER(version), true, 0},
    {&SEGMENT_LOCATION_KEY, TC_string, MEMBER(location), false, 0},
    {&SEGMENT_SIZE_KEY, TC_long, MEMBER(size), false, 0},
    {&SEGMENT_OFFSET_KEY, TC_long, MEMBER(offset), false, 0},
    {&SEGMENT_CTIME_KEY, TC_long, MEMBER(ctime), false, 0},
    {&SEGMENT_MTIME_KEY, TC_long, MEMBER(mtime), false, 0},
    {&SEGMENT_CHECKSUM_KEY, TC_NEX_Types_OctetList, MEMBER(checksum), false, 0},
    {&SEGMENT_DISPOSABLE_KEY, TC_boolean, MEMBER(disposable), false, 0},
    {&SEGMENT_IS_RESULT_KEY, TC_boolean, MEMBER(is_result), false, 0},
    {&SEGMENT_IS_COLLECTION_KEY, TC_boolean, MEMBER(is_collection), false, 0},
    {&SEGMENT_DELETE_AT_SOURCE_KEY, TC_boolean, MEMBER(delete_at_source), false, 0},
    {&SEGMENT_XPK_MANAGER, TC_string, MEMBER(xpk_manager), false, 0},
    {&SEGMENT_XPK_PACKAGEID, TC_string, MEMBER(xpk_packageid), false, 0},
    {&SEGMENT_XPK_DESTINATION, TC_string, MEMBER(xpk_destination), false, 0},
    {&SEGMENT_XPK_USERNAME, TC_string, MEMBER(xpk_username), false, 0},
    {&SEGMENT_XPK_PASSWORD, TC_string, MEMBER(xpk_password), false, 0},
};

} // namespace

Segment *segment_new(void) { return static_cast<Segment *>(mg_calloc(1, sizeof(Segment))); }

Segment *segment_from_properties(Properties *properties) {
  if (properties == nullptr) {
    return nullptr;
  }
  return sprig::newRecord<Segment>(mg_free, [&](Segment *segment) {
    sprig::readMembers(properties, members, segment);
    segment->properties = properties;
  });
}

Segment *segment_new_from_properties(const Properties *properties) {
  return properties == nullptr ? nullptr : sprig::readFromCopy(properties, segment_from_properties);
}

Segment *segment_clone(const Segment *segment) {
  return segment == nullptr ? nullptr : segment_new_from_properties(segment->properties);
}

void segment_delete(Segment *segment) {
  if (segment != nullptr) {
    sprig::releaseList(segment->properties);
    mg_free(segment->data_block);
    mg_free(segment);
  }
}
