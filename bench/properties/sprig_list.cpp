#include <memory>
#include <stdexcept>

#include <benchmark/benchmark.h>

#include <sprig/properties.h>

#include "properties/task.h"

namespace bench {
namespace {

struct Release {
  void operator()(Properties *list) const {
    properties_delete(list);
    mg_free(list);
  }
};
using OwnedList = std::unique_ptr<Properties, Release>;

OwnedList newList() { return OwnedList(properties_new()); }

void putAll(Properties *list, const Names &names) {
  for (const std::string &name : names) {
    properties_put_long_dup(list, name.c_str(), 1);
  }
}

OwnedList listOf(const Record &record);

void put(Properties *list, const Field &field) {
  const char *name = field.name.c_str();
  if (const auto *text = std::get_if<std::string>(&field.value)) {
    properties_put_string_dup(list, name, text->c_str());
  } else if (const auto *number = std::get_if<int32_t>(&field.value)) {
    properties_put_long_dup(list, name, *number);
  } else if (const auto *flag = std::get_if<bool>(&field.value)) {
    properties_put_boolean_dup(list, name, *flag ? 1 : 0);
  } else if (const auto *octets = std::get_if<Octets>(&field.value)) {
    Octets bytes = *octets;
    const auto length = static_cast<uint32_t>(bytes.size());
    const OctetList stored{length, length, bytes.data()};
    properties_put_OctetList_dup(list, name, &stored);
  } else {
    properties_put_properties_dup(list, name, listOf(std::get<Record>(field.value)).get());
  }
}

OwnedList listOf(const Record &record) {
  OwnedList list = newList();
  for (const Field &field : record) {
    put(list.get(), field);
  }
  return list;
}

bool isEqual(const Properties *a, const Properties *b) {
  Environment environment{};
  return krt_generic_equal(TC_NEX_Sprig2_Properties, &environment, a, b) != 0;
}

OwnedList loaded(const std::string &path) {
  OwnedList list = newList();
  properties_load(list.get(), path.c_str());
  return list;
}

} // namespace

ByName makeSprigByName(const Names &names) {
  sprig_init();
  const std::shared_ptr<Properties> list = newList();
  putAll(list.get(), names);
  const Names wanted = shuffled(names);
  return {[=] {
            for (const std::string &name : wanted) {
              benchmark::DoNotOptimize(properties_get_long2(list.get(), name.c_str(), 0));
            }
          },
          [=] { putAll(list.get(), names); }, [=] { putAll(newList().get(), names); }};
}

AsAWhole makeSprigAsAWhole(const Record &record, const std::string &path) {
  sprig_init();
  const std::shared_ptr<Properties> list = listOf(record);
  const std::shared_ptr<Properties> other = OwnedList(properties_clone(list.get()));
  properties_save(list.get(), path.c_str());
  if (!isEqual(list.get(), other.get()) || !isEqual(list.get(), loaded(path).get()) ||
      isEqual(list.get(), listOf(changed(record)).get())) {
    throw std::runtime_error("a list came back as another");
  }
  return {[=] { benchmark::DoNotOptimize(OwnedList(properties_clone(list.get()))); },
          [=] { benchmark::DoNotOptimize(isEqual(list.get(), other.get())); },
          [=] { properties_save(list.get(), path.c_str()); },
          [=] { benchmark::DoNotOptimize(loaded(path)); }};
}

} // namespace bench
