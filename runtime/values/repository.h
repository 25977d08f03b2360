// The types that can be found by name or by number.
#ifndef SPRIG_RUNTIME_VALUES_REPOSITORY_H
#define SPRIG_RUNTIME_VALUES_REPOSITORY_H

#include <cstdint>
#include <string_view>

#include <sprig/framework.h>

namespace sprig::runtime {

// A type that a program has registered; null when there is none of this name. The runtime's own are
// not among them.
TypeCode findRegisteredType(std::string_view name);

// A registered type, or one of the runtime's own.
TypeCode findType(std::string_view name);

// The number of one of the runtime's own types, from 1; 0 for all others.
uint32_t numberOf(TypeCode type);
// The type with a number; null when there is none.
TypeCode typeWithNumber(uint32_t number);

} // namespace sprig::runtime

#endif
