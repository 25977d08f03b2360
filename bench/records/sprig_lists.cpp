#include "records/sprig_lists.h"

namespace bench {
namespace {

void put(Properties *list, const Field &field) {
  const char *name = field.name.c_str();
  if (const auto *text = std::get_if<std::string>(&field.value)) {
    properties_put_string_dup(list, name, text->c_str());
  } else if (const auto *number = std::get_if<int32_t>(&field.value)) {
    properties_put_long_dup(list, name, *number);
  } else if (const auto *flag = std::get_if<bool>(&field.value)) {
    properties_put_boolean_dup(list, name, *flag ? 1 : 0);
  } else {
    Octets octets = std::get<Octets>(field.value);
    const auto length = static_cast<uint32_t>(octets.size());
    const OctetList stored{length, length, octets.data()};
    properties_put_OctetList_dup(list, name, &stored);
  }
}

} // namespace

void putAll(Properties *list, const Record &record) {
  for (const Field &field : record) {
    put(list, field);
  }
}

SegmentList listOf(const List &segments) {
  sprig_init();
  SegmentList list(properties_list_new());
  for (const Record &segment : segments) {
    Properties properties{};
    putAll(&properties, segment);
    seq_add(list.get(), &properties, sizeof properties);
  }
  return list;
}

} // namespace bench
