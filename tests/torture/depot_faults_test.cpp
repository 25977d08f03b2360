// Every operation of the depot, with each of its calls to the allocator and to the system failing
// in turn: it ends, says whether it did what it is for, gives everything back and harms nobody
// else.
#include <algorithm>

#include <gtest/gtest.h>

#include "torture/depot_faults.h"

namespace {

class DepotUnderFaults : public test::DepotFaults,
                         public testing::WithParamInterface<test::DepotOperation> {};

} // namespace

TEST_P(DepotUnderFaults, EndsWithItsOutcomeAndHarmsNobody) {
  for (const test::FaultKind &kind : kinds) {
    sweep(GetParam(), kind);
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, DepotUnderFaults,
                         testing::ValuesIn(test::DepotFaults::operations()),
                         [](const auto &operation) { return operation.param.name; });
