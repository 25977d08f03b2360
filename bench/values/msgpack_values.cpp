#include <msgpack.hpp>

#include "values/codec.h"

namespace bench {
namespace {

using Packer = msgpack::packer<msgpack::sbuffer>;

uint32_t lengthOf(const auto &items) { return static_cast<uint32_t>(items.size()); }

void pack(Packer &packer, const Record &record);

void pack(Packer &packer, const Value &value) {
  if (const auto *octets = std::get_if<Octets>(&value)) {
    packer.pack_bin(lengthOf(*octets));
    packer.pack_bin_body(reinterpret_cast<const char *>(octets->data()), lengthOf(*octets));
  } else if (const auto *record = std::get_if<Record>(&value)) {
    pack(packer, *record);
  } else if (const auto *text = std::get_if<std::string>(&value)) {
    packer.pack(*text);
  } else if (const auto *number = std::get_if<int32_t>(&value)) {
    packer.pack(*number);
  } else {
    packer.pack(std::get<bool>(value));
  }
}

void pack(Packer &packer, const Record &record) {
  packer.pack_map(lengthOf(record));
  for (const Field &field : record) {
    packer.pack(field.name);
    pack(packer, field.value);
  }
}

void pack(Packer &packer, const List &list) {
  packer.pack_array(lengthOf(list));
  for (const Record &record : list) {
    pack(packer, record);
  }
}

void read(const msgpack::object &object, Record &record);

Value readValue(const msgpack::object &object) {
  switch (object.type) {
  case msgpack::type::BIN:
    return Octets(object.via.bin.ptr, object.via.bin.ptr + object.via.bin.size);
  case msgpack::type::STR:
    return object.as<std::string>();
  case msgpack::type::BOOLEAN:
    return object.as<bool>();
  case msgpack::type::MAP: {
    Record record;
    read(object, record);
    return record;
  }
  default:
    return object.as<int32_t>();
  }
}

void read(const msgpack::object &object, Record &record) {
  record.reserve(object.via.map.size);
  for (const msgpack::object_kv &field : object.via.map) {
    record.push_back({field.key.as<std::string>(), readValue(field.val)});
  }
}

void read(const msgpack::object &object, List &list) {
  list.reserve(object.via.array.size);
  for (const msgpack::object &record : object.via.array) {
    read(record, list.emplace_back());
  }
}

template <class Document> struct MsgpackFormat {
  using Value = msgpack::object_handle;

  static Value build(const Document &document) {
    msgpack::sbuffer encoding;
    Packer packer(encoding);
    pack(packer, document);
    return decode(encoding);
  }
  static msgpack::sbuffer encode(const Value &value) {
    msgpack::sbuffer encoding;
    msgpack::pack(encoding, value.get());
    return encoding;
  }
  static Value decode(const msgpack::sbuffer &encoding) {
    return msgpack::unpack(encoding.data(), encoding.size());
  }
  static Value copy(const Value &value) { return msgpack::clone(value.get()); }
  static bool equal(const Value &a, const Value &b) { return a.get() == b.get(); }
  static Document read(const Value &value) {
    Document document;
    bench::read(value.get(), document);
    return document;
  }
};

} // namespace

Task makeMsgpackTask(Operation operation, int64_t size) {
  return makeTaskOfSize<MsgpackFormat>(operation, size);
}

} // namespace bench
