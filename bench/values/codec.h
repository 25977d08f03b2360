// Makes tasks of what a format does. A format is a class with these static functions, where Value
// and Encoding release what they own:
//
//   Value build(const Document &)         Encoding encode(const Value &)
//   Value decode(const Encoding &)        Value copy(const Value &)
//   Document read(const Value &)          bool equal(const Value &, const Value &)
#ifndef SPRIG_BENCH_VALUES_CODEC_H
#define SPRIG_BENCH_VALUES_CODEC_H

#include <memory>
#include <stdexcept>

#include <benchmark/benchmark.h>

#include "values/document.h"
#include "values/task.h"

namespace bench {

// The values are its own: a format may remember in a value what it was asked before.
template <class Format, class Document> void verify(const Document &document) {
  const auto value = Format::build(document);
  const auto copy = Format::copy(value);
  const auto decoded = Format::decode(Format::encode(value));
  if (Format::read(decoded) != document || Format::read(copy) != document) {
    throw std::runtime_error("a value came back as another");
  }
  if (!Format::equal(value, copy) || Format::equal(value, Format::build(changed(document)))) {
    throw std::runtime_error("the comparison is wrong");
  }
}

template <class Format, class Document>
Task makeTask(Operation operation, const Document &document) {
  verify<Format>(document);
  using Value = decltype(Format::build(document));
  const auto value = std::make_shared<const Value>(Format::build(document));
  switch (operation) {
  case Operation::encode:
    return [=] { benchmark::DoNotOptimize(Format::encode(*value)); };
  case Operation::decode: {
    using Encoding = decltype(Format::encode(*value));
    const auto encoding = std::make_shared<const Encoding>(Format::encode(*value));
    return [=] { benchmark::DoNotOptimize(Format::decode(*encoding)); };
  }
  case Operation::copy:
    return [=] { benchmark::DoNotOptimize(Format::copy(*value)); };
  case Operation::equal: {
    const auto other = std::make_shared<const Value>(Format::copy(*value));
    return [=] { benchmark::DoNotOptimize(Format::equal(*value, *other)); };
  }
  }
  return nullptr;
}

template <template <class> class Format> Task makeTaskOfSize(Operation operation, int64_t size) {
  return size == listSize
             ? makeTask<Format<List>>(operation, makeList())
             : makeTask<Format<Record>>(operation, makeRecord(static_cast<size_t>(size)));
}

} // namespace bench

#endif
