// What comes of a handle where memory runs out or the system refuses its semaphores.
#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "support/pal_error.h"
#include "torture/depot_faults.h"

using test::Fault;
using test::ok;

namespace {

constexpr PalError noMemory{PAL_OUT_OF_MEMORY, 0, 0};
constexpr PalError refused{PAL_WAIT_TIMEOUT, ENOSPC, 1};

// The calls with which a handle attaches to its semaphores: creation is tried first.
constexpr int depotSet = 1;
constexpr int entrySet = 3;

class DepotHandleFaults : public test::DepotFaults {
protected:
  ~DepotHandleFaults() override {
    if (handle != nullptr) {
      DepotFree(handle);
    }
  }

  PalError openFailing(const char *function, int nativeError, int call) {
    const Fault fault(function, nativeError, call);
    const PalError result = DepotNew(&handle, "depot", 0);
    hasStruck = fault.hasStruck();
    return result;
  }

  Depot *handle = nullptr;
  bool hasStruck = false;
};

} // namespace

TEST_F(DepotHandleFaults, GiveNoneWithoutMemoryForIt) {
  EXPECT_EQ(openFailing("malloc", ENOMEM, 1), noMemory);
  EXPECT_EQ(handle, nullptr);
}

TEST_F(DepotHandleFaults, GiveNoneOrAWorkingOneWithoutMemoryForAPart) {
  int refusals = 0;
  for (int call = 1; openFailing("malloc", ENOMEM, call), hasStruck; ++call) {
    refusals += handle == nullptr ? 1 : 0;
    if (handle != nullptr) {
      EXPECT_EQ(DepotSetDir(handle, "depot"), ok);
      EXPECT_NE(DepotAddEntry(handle, "a", "1", nullptr, 0), nullptr);
      EXPECT_EQ(DepotPurge(handle, 1), ok);
      EXPECT_EQ(DepotFree(handle), ok);
      handle = nullptr;
    }
  }
  EXPECT_GE(refusals, 7) << "for the handle, two files, two locks and the list";
}

TEST_F(DepotHandleFaults, GiveOneThatHasNoDirectory) {
  for (int call = 1; openFailing("malloc", ENOMEM, call), hasStruck; ++call) {
    if (handle == nullptr) {
      continue;
    }
    if (handle->directory == nullptr) {
      break;
    }
    EXPECT_EQ(DepotFree(handle), ok);
    handle = nullptr;
  }
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(DepotGetDir(handle), nullptr);
  EXPECT_EQ(DepotAddEntry(handle, "a", "1", nullptr, 0), nullptr);
  EXPECT_EQ(DepotGetEntry(handle, "a", "1"), nullptr);
  EXPECT_NE(DepotPurge(handle, 1).palError, PAL_OK);
  EXPECT_NE(DepotPurgeExpiredEntries(handle).palError, PAL_OK);
  uint32_t total = 0;
  EXPECT_NE(DepotGetPermStorage(handle, &total).palError, PAL_OK);
  EXPECT_EQ(DepotSetDir(handle, nullptr), ok);
  EXPECT_NE(DepotAddEntry(handle, "a", "1", nullptr, 0), nullptr);
}

TEST_F(DepotHandleFaults, GoOnWithoutTheDepotsSemaphore) {
  EXPECT_EQ(openFailing("semget", ENOSPC, depotSet), ok);
  ASSERT_NE(handle, nullptr);
  EXPECT_NE(DepotAddEntry(handle, "a", "1", nullptr, 0), nullptr);
  EXPECT_TRUE(log.has(1, "DepotAddEntry continue. Ignore WAIT_TIMEOUT\n"));
  EXPECT_EQ(DepotGetEntry(handle, "a", "1"), nullptr) << "which does not go on";
  EXPECT_EQ(DepotFree(handle), (PalError{PAL_WAIT_TIMEOUT, EINVAL, 1}));
  handle = nullptr;
}

TEST_F(DepotHandleFaults, TellThatTheEntriesSemaphoreIsMissing) {
  EXPECT_EQ(openFailing("semget", ENOSPC, entrySet), refused);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(DepotAddEntry(handle, "a", "1", nullptr, 0), nullptr) << "it cannot be saved";
  EXPECT_EQ(names().size(), 0U);
  EXPECT_EQ(DepotFree(handle), ok) << "records are released all the same";
  handle = nullptr;
}
