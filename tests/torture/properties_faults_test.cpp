// Property lists and file helpers where memory runs out, and where the system cannot close a file:
// the exception arrives, nothing is lost, and what was there is as it was.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/temporary_directory.h"
#include "support/values.h"
#include "torture/faults.h"
#include "torture/framework_faults.h"

using test::anyOf;
using test::encodingOf;
using test::List;
using test::listOf;
using test::openDescriptors;
using test::propertyOf;
using test::runsOutOfMemory;
using test::Value;
using test::withEachCallFailing;

namespace {

Properties plantList() {
  const auto parts = listOf<Properties>({propertyOf("a", anyOf(TC_boolean, uint8_t{1}))});
  return listOf<Properties>({propertyOf("name", anyOf(TC_string, mg_strdup("rosebud"))),
                             propertyOf("size", anyOf(TC_long, int32_t{-2})),
                             propertyOf("parts", anyOf(TC_NEX_Sprig2_Properties, parts))});
}

// Where the parts of a list are.
using Places = std::vector<const void *>;
Places placesOf(const Properties &list) {
  Places places;
  for (uint32_t i = 0; i < list.length; ++i) {
    const Property &property = list.buffer[i];
    places.insert(places.end(), {property.key, property.value.type, property.value.value});
  }
  return places;
}

// A list that is changed, or stays as it was.
template <typename Change> bool changesList(int call, Change change) {
  List list(plantList());
  const Places places = placesOf(list);
  const std::string encoding = encodingOf(list);
  const bool hasFailed = runsOutOfMemory(call, [&] { change(&list); });
  EXPECT_EQ(encodingOf(list) == encoding, hasFailed) << "call " << call;
  if (hasFailed) {
    EXPECT_EQ(placesOf(list), places) << "call " << call;
  }
  return hasFailed;
}

using Keys = std::vector<const char *>;
const Keys keys{"new", "name", "parts"}; // the last two are there

// A value that is copied into a list.
template <typename T>
void expectCopied(void (*put)(Properties *list, const char *key, T value), T value) {
  for (const char *key : keys) {
    withEachCallFailing([&](int call) {
      return changesList(call, [&](Properties *list) { put(list, key, value); });
    });
  }
}

// A value in a block of its own.
template <typename T> T *blockOf(const T &value) {
  auto *block = static_cast<T *>(mg_malloc(sizeof(T)));
  std::memcpy(block, &value, sizeof(T));
  return block;
}

// A value whose block is handed over to a list, or stays the caller's.
template <typename T, typename MakeValue>
void expectHandedOver(void (*put)(Properties *list, const char *key, T *block), TypeCode type,
                      MakeValue makeValue) {
  for (const char *key : keys) {
    withEachCallFailing([&](int call) {
      T *block = blockOf<T>(makeValue());
      const std::string encoding = test::textOf(test::encoded(type, block));
      const bool hasFailed = changesList(call, [&](Properties *list) { put(list, key, block); });
      if (hasFailed) {
        EXPECT_EQ(test::textOf(test::encoded(type, block)), encoding);
        nex_free_generic(block, type);
        mg_free(block);
      }
      return hasFailed;
    });
  }
}

class PropertyFaults : public testing::Test {
protected:
  PropertyFaults() { test::registerTypes(); }
};

class PropertyFileFaults : public test::DirectoryTest,
                           public testing::WithParamInterface<test::Layout> {
protected:
  PropertyFileFaults() { test::registerTypes(); }

  // A call whose file the system closes with an error.
  template <typename Call> void expectNotClosed(Call call) const {
    const long before = openDescriptors();
    test::Fault fault("close", EIO);
    fault.thoughClosed();
    EXPECT_EQ(test::failureOf(call), test::cannotClose(path));
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(openDescriptors(), before);
  }

  const test::Layout &layout = GetParam();
  const std::string path = directory / "f";
};

INSTANTIATE_TEST_SUITE_P(Layouts, PropertyFileFaults, testing::ValuesIn(test::layouts),
                         [](const auto &info) { return info.param.name; });

class FaultsOnTheWay : public test::DirectoryTest {
protected:
  FaultsOnTheWay() { test::registerTypes(); }

  // A call that gives something which `release` releases.
  template <typename Make, typename Release> void expectNothing(Make make, Release release) {
    withEachCallFailing([&](int call) {
      const long before = openDescriptors();
      decltype(make()) made = nullptr;
      const bool hasFailed = runsOutOfMemory(call, [&] { made = make(); });
      EXPECT_EQ(made == nullptr, hasFailed);
      if (!hasFailed) {
        release(made);
      }
      EXPECT_EQ(openDescriptors(), before);
      return hasFailed;
    });
  }
};

// Releases a list's content and its record.
template <typename List, typename Delete> auto deleteWith(Delete deleteContent) {
  return [deleteContent](List *list) {
    deleteContent(list);
    mg_free(list);
  };
}

using NewPropertyList = FaultsOnTheWay;
using FileHelperFaults = FaultsOnTheWay;

} // namespace

TEST_F(NewPropertyList, IsNotThereWithoutMemory) {
  const auto release = deleteWith<Properties>(properties_delete);
  const auto releaseLists = deleteWith<PropertiesList>(properties_list_delete);
  expectNothing(properties_new, release);
  expectNothing(properties_list_new, releaseLists);

  const List list(plantList());
  expectNothing([&] { return properties_clone(&list); }, release);
  const Value lists(TC_NEX_Sprig2_PropertiesList,
                    listOf<PropertiesList>({plantList(), plantList()}));
  expectNothing([&] { return properties_list_clone(&lists.as<PropertiesList>()); }, releaseLists);
}

TEST_F(PropertyFaults, LeaveAListWithoutTheCopyOfAValue) {
  const Value extra(TC_any, anyOf(TC_string, mg_strdup("extra")));
  const Value octets(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 2, 3}));
  const List list(plantList());
  const Value lists(TC_NEX_Sprig2_PropertiesList, listOf<PropertiesList>({plantList()}));

  expectCopied<const char *>(properties_put_string_dup, "text");
  expectCopied<const any *>(properties_put_any_dup, &extra.as<any>());
  expectCopied<const char *>(properties_put_object_dup, "1.2.3");
  expectCopied<int16_t>(properties_put_short_dup, -1);
  expectCopied<int32_t>(properties_put_long_dup, 7);
  expectCopied<uint32_t>(properties_put_ulong_dup, 7);
  expectCopied<uint8_t>(properties_put_boolean_dup, 1);
  expectCopied<const OctetList *>(properties_put_OctetList_dup, &octets.as<OctetList>());
  expectCopied<const Properties *>(properties_put_properties_dup, &list);
  expectCopied<const PropertiesList *>(properties_put_properties_list_dup,
                                       &lists.as<PropertiesList>());
}

TEST_F(PropertyFaults, LeaveABlockToTheCaller) {
  expectHandedOver(properties_put_string, TC_string, [] { return mg_strdup("text"); });
  expectHandedOver(properties_put_any, TC_any, [] { return anyOf(TC_long, int32_t{1}); });
  expectHandedOver(properties_put_object, TC_Object, [] { return mg_strdup("1.2.3"); });
  expectHandedOver(properties_put_short, TC_short, [] { return int16_t{-1}; });
  expectHandedOver(properties_put_long, TC_long, [] { return int32_t{7}; });
  expectHandedOver(properties_put_ulong, TC_ulong, [] { return uint32_t{7}; });
  expectHandedOver(properties_put_boolean, TC_boolean, [] { return uint8_t{1}; });
  expectHandedOver(properties_put_OctetList, TC_NEX_Types_OctetList, [] {
    return listOf<OctetList, uint8_t>({1, 2, 3});
  });
  expectHandedOver(properties_put_properties, TC_NEX_Sprig2_Properties, plantList);
  expectHandedOver(properties_put_properties_list, TC_NEX_Sprig2_PropertiesList,
                   [] { return listOf<PropertiesList>({plantList()}); });
  const auto putRecord = [](Properties *list, const char *key, test::Record *block) {
    properties_put(list, key, test::recordType, block);
  };
  expectHandedOver<test::Record>(putRecord, test::recordType, [] {
    test::Record record{};
    record.text = mg_strdup("text");
    return record;
  });
}

TEST_F(PropertyFaults, LeaveAListWithTheProperty) {
  withEachCallFailing([](int call) {
    Property *removed = nullptr;
    const bool hasFailed =
        changesList(call, [&](Properties *list) { removed = properties_remove(list, "name"); });
    EXPECT_EQ(removed == nullptr, hasFailed);
    nex_free_generic(removed, TC_NEX_Sprig2_Property);
    mg_free(removed);
    return hasFailed;
  });
  withEachCallFailing([](int call) {
    return changesList(call, [](Properties *list) { properties_remove_and_destroy(list, "size"); });
  });
}

TEST_F(PropertyFaults, GiveNoEncoding) {
  const List list(plantList());
  withEachCallFailing([&](int call) {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    const bool hasFailed = runsOutOfMemory(
        call, [&] { properties_encode(TC_NEX_Sprig2_Properties, &list, &data, &length); });
    EXPECT_EQ(data == nullptr, hasFailed);
    mg_free(data);
    return hasFailed;
  });
}

TEST_F(PropertyFaults, GiveNoValue) {
  const test::Bytes bytes = test::encoded(Value(TC_NEX_Sprig2_Properties, plantList()));
  withEachCallFailing([&](int call) {
    List decoded;
    return runsOutOfMemory(call, [&] {
      properties_decode(TC_NEX_Sprig2_Properties, bytes.data(), static_cast<uint32_t>(bytes.size()),
                        &decoded);
    });
  });
}

TEST_F(PropertyFaults, GiveNoAnswer) {
  const List a(plantList());
  const List b(plantList());
  for (uint32_t i = 0; i < a.length; ++i) {
    withEachCallFailing([&](int call) {
      return runsOutOfMemory(call, [&] { property_equal(&a.buffer[i], &b.buffer[i]); });
    });
  }
  for (uint32_t i = 1; i < a.length; ++i) { // the first one is a pattern
    withEachCallFailing([&](int call) {
      return runsOutOfMemory(call, [&] { property_match(&a.buffer[i], &b.buffer[i]); });
    });
  }
}

// The exception is thrown, or in the environment.
TEST_F(PropertyFaults, GiveNoAnswerWithAnEnvironment) {
  const List a(plantList());
  const List b(plantList());
  withEachCallFailing([&](int call) {
    Environment environment{};
    return runsOutOfMemory(call, [&] {
      const int isEqual = krt_generic_equal(TC_NEX_Sprig2_Properties, &environment, &a, &b);
      if (environment.exception != nullptr) {
        EXPECT_EQ(isEqual, 0);
        ev_to_exception(&environment);
      }
      EXPECT_EQ(isEqual, 1);
    });
  });
}

TEST_P(PropertyFileFaults, CloseWhatWasToBeSaved) {
  const List list(plantList());
  withEachCallFailing([&](int call) {
    const long before = openDescriptors();
    const bool hasFailed = runsOutOfMemory(call, [&] { layout.save(&list, path.c_str()); });
    EXPECT_EQ(openDescriptors(), before);
    return hasFailed;
  });
  EXPECT_EQ(test::readFile(path), test::fileOf(layout, encodingOf(list)));
}

TEST_P(PropertyFileFaults, CloseWhatWasToBeLoaded) {
  const List original(plantList());
  const std::string encoding = encodingOf(original);
  test::writeFile(path, test::fileOf(layout, encoding));
  withEachCallFailing([&](int call) {
    const long before = openDescriptors();
    List list;
    const bool hasFailed = runsOutOfMemory(call, [&] { layout.load(&list, path.c_str()); });
    EXPECT_EQ(openDescriptors(), before);
    if (!hasFailed) {
      EXPECT_EQ(encodingOf(list), encoding);
    }
    return hasFailed;
  });
}

TEST_P(PropertyFileFaults, LeaveAFileOpenThatIsRead) {
  test::writeFile(path, test::fileOf(layout, encodingOf(List(plantList()))));
  withEachCallFailing([&](int call) {
    File *file = file_open(path.c_str(), O_RDONLY);
    List list;
    const bool hasFailed = runsOutOfMemory(call, [&] { layout.read(&list, file); });
    EXPECT_EQ(file_is_open(file), 1);
    file_delete(file);
    return hasFailed;
  });
}

TEST_P(PropertyFileFaults, TellThatAFileCannotBeClosed) {
  const List original(plantList());
  const std::string encoding = encodingOf(original);
  test::expectNothingLost([&] {
    expectNotClosed([&] { layout.save(&original, path.c_str()); });
    List list;
    expectNotClosed([&] { layout.load(&list, path.c_str()); });
    EXPECT_EQ(encodingOf(list), encoding);
  });
  EXPECT_EQ(test::readFile(path), test::fileOf(layout, encoding));
}

using OpenPropertyFileFaults = PropertyFileFaults;

INSTANTIATE_TEST_SUITE_P(Layouts, OpenPropertyFileFaults,
                         testing::ValuesIn(test::layoutsWithLength),
                         [](const auto &info) { return info.param.name; });

TEST_P(OpenPropertyFileFaults, LeaveAFileOpenThatIsWritten) {
  const List list(plantList());
  withEachCallFailing([&](int call) {
    File *file = file_create(path.c_str(), O_WRONLY | O_TRUNC, 0600);
    const bool hasFailed = runsOutOfMemory(call, [&] { layout.write(&list, file); });
    EXPECT_EQ(file_is_open(file), 1);
    file_delete(file);
    EXPECT_EQ(test::readFile(path).empty(), hasFailed) << "it is encoded before it is written";
    return hasFailed;
  });
}

TEST_F(FileHelperFaults, GiveNoDirectory) {
  const std::string path = directory.path();
  expectNothing([&] { return dir_new(path.c_str()); }, dir_delete);
  Dir *dir = dir_new(path.c_str());
  expectNothing([&] { return dir_entry_enum_new(dir, "*"); }, dir_entry_enum_delete);
  expectNothing([&] { return dir_entries(dir, "*"); }, dir_entry_enum_delete);
  expectNothing([&] { return dir_entries(dir, nullptr); }, dir_entry_enum_delete);
  dir_delete(dir);
}

TEST_F(FileHelperFaults, DoNotTellWhatIsADirectory) {
  const std::string path = directory.path();
  withEachCallFailing([&](int call) {
    int isDirectory = 0;
    const bool hasFailed =
        runsOutOfMemory(call, [&] { isDirectory = dir_is_directory(path.c_str()); });
    EXPECT_EQ(isDirectory == 0, hasFailed);
    return hasFailed;
  });
}

TEST_F(FileHelperFaults, GiveNoPathName) {
  expectNothing(pathname_new, pathname_delete);
  expectNothing([] { return pathname_clone("a"); }, pathname_delete);
  expectNothing([] { return pathname_clone_and_append("a", "b"); }, pathname_delete);
  expectNothing([] { return pathname_build_filename("a", "b", "c"); }, pathname_delete);
}

TEST_F(FileHelperFaults, OpenNoFile) {
  const std::string path = directory / "f";
  expectNothing([&] { return file_create(path.c_str(), O_RDWR, 0600); }, file_delete);
  expectNothing([&] { return file_open(path.c_str(), O_RDONLY); }, file_delete);
}
