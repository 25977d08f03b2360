// The values whose encodings golden.txt has.
#ifndef SPRIG_TESTS_RUNTIME_ADR_GOLDEN_VALUES_H
#define SPRIG_TESTS_RUNTIME_ADR_GOLDEN_VALUES_H

#include <map>
#include <string>

#include "support/values.h"

namespace test {

// By name. Almost each is there twice: by itself, and in an any.
std::map<std::string, Value> goldenValues();

} // namespace test

#endif
