// Lists as a whole, and their properties by key.
#include <utility>

#include <sprig/framework.h>
#include <sprig/properties.h>

#include "framework/message.h"
#include "framework/new_record.h"
#include "properties/key.h"
#include "properties/value.h"
#include "properties/wanted_key.h"

using sprig::MessageId;
using sprig::throwMessage;

namespace {

template <typename List> List *newList() { return static_cast<List *>(mg_calloc(1, sizeof(List))); }

template <typename List> List *clone(const List *list, TypeCode type) {
  return sprig::newRecord<List>(mg_free, [&](List *copy) { sprig::copyValue(type, list, copy); });
}

void append(Properties *list, const char *key, any value) {
  // Everything that may throw comes before the list changes.
  const Property empty{};
  seq_add(list, &empty, sizeof empty);
  --list->length;
  char *copy = mg_strdup(key);
  list->buffer[list->length++] = {copy, value};
}

void replace(Property &slot, const char *key, any value) {
  char *copy = mg_strdup(key);
  Property old = std::exchange(slot, {copy, value});
  nex_free_generic(&old, TC_NEX_Sprig2_Property);
}

} // namespace

Properties *properties_new(void) { return newList<Properties>(); }
PropertiesList *properties_list_new(void) { return newList<PropertiesList>(); }

void properties_init(Properties *list) { seq_init(list); }
void properties_list_init(PropertiesList *list) { seq_init(list); }

void properties_delete(Properties *list) { nex_free_generic(list, TC_NEX_Sprig2_Properties); }
void properties_list_delete(PropertiesList *list) {
  nex_free_generic(list, TC_NEX_Sprig2_PropertiesList);
}

void properties_free(Properties *list) {
  for (uint32_t i = 0; i < list->length; ++i) {
    mg_free(list->buffer[i].key);
  }
  seq_free_buffer(list);
}

Properties *properties_clone(const Properties *list) {
  return clone(list, TC_NEX_Sprig2_Properties);
}
PropertiesList *properties_list_clone(const PropertiesList *list) {
  return clone(list, TC_NEX_Sprig2_PropertiesList);
}

int32_t properties_get_property_index(const Properties *list, const char *key) {
  const sprig::WantedKey wanted(key);
  for (uint32_t i = 0; i < list->length; ++i) {
    if (wanted.is(sprig::keyOf(list->buffer[i]))) {
      return static_cast<int32_t>(i);
    }
  }
  return -1;
}

int properties_find(const Properties *list, const char *key) {
  return properties_get_property_index(list, key) == -1 ? 0 : 1;
}

void *properties_get(const Properties *list, const char *key, TypeCode type, int must_exist) {
  const int32_t index = properties_get_property_index(list, key);
  if (index == -1) {
    if (must_exist != 0) {
      throwMessage(MessageId::propertyMissing, key);
    }
    return nullptr;
  }
  const any &value = list->buffer[index].value;
  // One object is one type; two objects may be, too.
  if (value.type != type && TypeCode_equal(value.type, type) == 0) {
    throwMessage(MessageId::propertyOfOtherType, key);
  }
  return value.value;
}

void properties_put(Properties *list, const char *key, TypeCode type, void *block) {
  const int32_t index = properties_get_property_index(list, key);
  if (index == -1) {
    append(list, key, {type, block});
  } else {
    replace(list->buffer[index], key, {type, block});
  }
}

Property *properties_remove(Properties *list, const char *key) {
  const int32_t index = properties_get_property_index(list, key);
  return index == -1 ? nullptr
                     : static_cast<Property *>(
                           seq_remove(list, static_cast<uint32_t>(index), sizeof(Property)));
}

void properties_remove_and_destroy(Properties *list, const char *key) {
  Property *property = properties_remove(list, key);
  if (property != nullptr) {
    nex_free_generic(property, TC_NEX_Sprig2_Property);
    mg_free(property);
  }
}
