// The property lists that every format holds, in a form that belongs to none of them.
#ifndef SPRIG_BENCH_VALUES_DOCUMENT_H
#define SPRIG_BENCH_VALUES_DOCUMENT_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace bench {

struct Field;
using Octets = std::vector<uint8_t>;
using Record = std::vector<Field>;
using List = std::vector<Record>;
using Value = std::variant<std::string, int32_t, bool, Octets, Record>;

struct Field {
  std::string name;
  Value value;

  bool operator==(const Field &) const = default;
};

// As many fields: a list of 32 octets, a record of four fields, and strings of 16 to 24 characters
// (half of the rest), numbers (a third) and booleans.
Record makeRecord(size_t fields);

// The table of contents of a large distribution: 1,000 records of 12 fields.
List makeList();

// The same up to a letter of the last field's name.
Record changed(Record record);
List changed(List list);

} // namespace bench

#endif
