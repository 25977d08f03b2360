#include <algorithm>
#include <memory>
#include <stdexcept>

#include <benchmark/benchmark.h>

#include "properties/files.h"
#include "properties/task.h"
#include "values/values.pb.h"

namespace bench {
namespace {

const proto::Field *find(const proto::Record &list, const std::string &name) {
  const auto found = std::find_if(list.fields().begin(), list.fields().end(),
                                  [&](const proto::Field &field) { return field.name() == name; });
  return found == list.fields().end() ? nullptr : &*found;
}

void put(proto::Record &list, const std::string &name, int32_t number) {
  auto &fields = *list.mutable_fields();
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const proto::Field &field) { return field.name() == name; });
  proto::Field &field = found == fields.end() ? *fields.Add() : *found;
  field.set_name(name);
  field.set_number(number);
}

void putAll(proto::Record &list, const Names &names) {
  for (const std::string &name : names) {
    put(list, name, 1);
  }
}

proto::Record listOf(const Record &record);

void add(proto::Record &list, const Field &field) {
  proto::Field &added = *list.add_fields();
  added.set_name(field.name);
  if (const auto *text = std::get_if<std::string>(&field.value)) {
    added.set_text(*text);
  } else if (const auto *number = std::get_if<int32_t>(&field.value)) {
    added.set_number(*number);
  } else if (const auto *flag = std::get_if<bool>(&field.value)) {
    added.set_flag(*flag);
  } else if (const auto *octets = std::get_if<Octets>(&field.value)) {
    added.set_octets(octets->data(), octets->size());
  } else {
    *added.mutable_record() = listOf(std::get<Record>(field.value));
  }
}

proto::Record listOf(const Record &record) {
  proto::Record list;
  for (const Field &field : record) {
    add(list, field);
  }
  return list;
}

// Ten times as fast as the library's MessageDifferencer.
bool isEqual(const proto::Record &a, const proto::Record &b) {
  return a.SerializeAsString() == b.SerializeAsString();
}

proto::Record loaded(const std::string &path) {
  proto::Record list;
  (void)list.ParseFromString(readFile(path));
  return list;
}

} // namespace

ByName makeProtobufByName(const Names &names) {
  const auto list = std::make_shared<proto::Record>();
  putAll(*list, names);
  const Names wanted = shuffled(names);
  return {[=] {
            for (const std::string &name : wanted) {
              const proto::Field *field = find(*list, name);
              benchmark::DoNotOptimize(field == nullptr ? 0 : field->number());
            }
          },
          [=] { putAll(*list, names); },
          [=] {
            proto::Record built;
            putAll(built, names);
          }};
}

AsAWhole makeProtobufAsAWhole(const Record &record, const std::string &path) {
  const auto list = std::make_shared<const proto::Record>(listOf(record));
  const auto other = std::make_shared<const proto::Record>(*list);
  writeFile(path, list->SerializeAsString());
  if (!isEqual(*list, *other) || !isEqual(*list, loaded(path))) {
    throw std::runtime_error("a list came back as another");
  }
  return {[=] { benchmark::DoNotOptimize(proto::Record(*list)); },
          [=] { benchmark::DoNotOptimize(isEqual(*list, *other)); },
          [=] { writeFile(path, list->SerializeAsString()); },
          [=] { benchmark::DoNotOptimize(loaded(path)); }};
}

} // namespace bench
