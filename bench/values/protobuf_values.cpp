#include "values/codec.h"
#include "values/values.pb.h"

namespace bench {
namespace {

void write(const Record &record, proto::Record &message);

void write(const Field &field, proto::Field &message) {
  message.set_name(field.name);
  if (const auto *text = std::get_if<std::string>(&field.value)) {
    message.set_text(*text);
  } else if (const auto *number = std::get_if<int32_t>(&field.value)) {
    message.set_number(*number);
  } else if (const auto *flag = std::get_if<bool>(&field.value)) {
    message.set_flag(*flag);
  } else if (const auto *octets = std::get_if<Octets>(&field.value)) {
    message.set_octets(octets->data(), octets->size());
  } else {
    write(std::get<Record>(field.value), *message.mutable_record());
  }
}

void write(const Record &record, proto::Record &message) {
  for (const Field &field : record) {
    write(field, *message.add_fields());
  }
}

void write(const List &list, proto::List &message) {
  for (const Record &record : list) {
    write(record, *message.add_records());
  }
}

void read(const proto::Record &message, Record &record);

Value readValue(const proto::Field &message) {
  switch (message.value_case()) {
  case proto::Field::kText:
    return message.text();
  case proto::Field::kNumber:
    return message.number();
  case proto::Field::kFlag:
    return message.flag();
  case proto::Field::kOctets:
    return Octets(message.octets().begin(), message.octets().end());
  default:
    Record record;
    read(message.record(), record);
    return record;
  }
}

void read(const proto::Record &message, Record &record) {
  record.reserve(static_cast<size_t>(message.fields_size()));
  for (const proto::Field &field : message.fields()) {
    record.push_back({field.name(), readValue(field)});
  }
}

void read(const proto::List &message, List &list) {
  list.reserve(static_cast<size_t>(message.records_size()));
  for (const proto::Record &record : message.records()) {
    read(record, list.emplace_back());
  }
}

template <class Document> struct Messages;
template <> struct Messages<Record> { using Message = proto::Record; };
template <> struct Messages<List> { using Message = proto::List; };

template <class Document> struct ProtobufFormat {
  using Message = typename Messages<Document>::Message;

  static Message build(const Document &document) {
    Message message;
    write(document, message);
    return message;
  }
  static std::string encode(const Message &message) { return message.SerializeAsString(); }
  static Message decode(const std::string &encoding) {
    Message message;
    (void)message.ParseFromString(encoding);
    return message;
  }
  static Message copy(const Message &message) { return message; }
  // Ten times as fast as the library's MessageDifferencer.
  static bool equal(const Message &a, const Message &b) { return encode(a) == encode(b); }
  static Document read(const Message &message) {
    Document document;
    bench::read(message, document);
    return document;
  }
};

} // namespace

Task makeProtobufTask(Operation operation, int64_t size) {
  return makeTaskOfSize<ProtobufFormat>(operation, size);
}

} // namespace bench
