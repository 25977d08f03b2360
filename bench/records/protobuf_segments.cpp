#include <chrono>
#include <memory>

#include <benchmark/benchmark.h>

#include "records/task.h"
#include "values/values.pb.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

void write(const Field &field, proto::Field *message) {
  message->set_name(field.name);
  if (const auto *text = std::get_if<std::string>(&field.value)) {
    message->set_text(*text);
  } else if (const auto *number = std::get_if<int32_t>(&field.value)) {
    message->set_number(*number);
  } else if (const auto *flag = std::get_if<bool>(&field.value)) {
    message->set_flag(*flag);
  } else {
    const auto &octets = std::get<Octets>(field.value);
    message->set_octets(octets.data(), octets.size());
  }
}

proto::List messageOf(const List &segments) {
  proto::List message;
  for (const Record &segment : segments) {
    proto::Record *record = message.add_records();
    for (const Field &field : segment) {
      write(field, record->add_fields());
    }
  }
  return message;
}

double secondsToRelease(std::unique_ptr<proto::List> list) {
  const auto start = Clock::now();
  list.reset();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

} // namespace

// There are no records beside messages: nothing is built.
OfSegments makeProtobufOfSegments(const List &segments) {
  const auto list = std::make_shared<const proto::List>(messageOf(segments));
  return {nullptr, [=] { benchmark::DoNotOptimize(proto::List(*list)); },
          [=] { benchmark::DoNotOptimize(list->SerializeAsString()); },
          [=] { return secondsToRelease(std::make_unique<proto::List>(*list)); }};
}

} // namespace bench
