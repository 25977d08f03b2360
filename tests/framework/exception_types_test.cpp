// Creating, encoding and throwing the library's exception types.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "framework/samples.h"
#include "support/exceptions.h"

using test::Bytes;
using test::encoded;
using test::ExceptionType;
using test::RecordPtr;

namespace {

class ExceptionTypesTest : public testing::Test {
protected:
  ExceptionTypesTest() { sprig_init(); }
};

using ExceptionCreation = ExceptionTypesTest;
using ExceptionEncoding = ExceptionTypesTest;
using ExceptionThrow = ExceptionTypesTest;

bool isEmpty(const char *text) { return text == nullptr || *text == '\0'; }

bool isDeferred(const ExceptionType &type) {
  return type.name == "NEX_Sprig2::ExDistributionDeferred";
}

int32_t &deferTimeOf(const RecordPtr &record) {
  return reinterpret_cast<ExDistributionDeferred *>(record.get())->defer_time;
}

Bytes encoded(const ExceptionType &type, const RecordPtr &record) {
  return test::encodedBy([&](AdrBuffer *buffer) { type.marshal(buffer, record.get()); });
}

void marshalMembers(AdrBuffer *buffer, const ExceptionType &type, const RecordPtr &record) {
  adr_start_struct(buffer, type.type);
  adr_v_string(buffer, &record->type_name);
  adr_v_string(buffer, &record->catalog);
  adr_v_long(buffer, &record->key);
  adr_v_string(buffer, &record->default_msg);
  adr_v_long(buffer, &record->time_stamp);
  adr_v_tc_sequence(buffer, TC__sequence_any_MsgContext, &record->msg_context);
  adr_v_NEX_Types_XOpenMessage(buffer, &record->emsg);
  if (isDeferred(type)) {
    adr_v_long(buffer, &deferTimeOf(record));
  }
  adr_end_struct(buffer, type.type);
}

RecordPtr emptyRecord(const ExceptionType &type) {
  return RecordPtr(static_cast<ExErrorMsg *>(mg_calloc(1, type.size)));
}

} // namespace

TEST_F(ExceptionCreation, PutsTheValuesIntoTheirMembers) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    const RecordPtr record = test::sampleRecord(type);
    EXPECT_EQ(record->type_name, type.name);
    EXPECT_STREQ(record->catalog, "base catalog") << type.name;
    EXPECT_EQ(record->key, 7) << type.name;
    EXPECT_STREQ(record->default_msg, "%7$M") << type.name;
    EXPECT_EQ(record->time_stamp, 1234567890) << type.name;
    ASSERT_EQ(record->msg_context.length, 3U) << type.name;
    const auto *context = static_cast<const any *>(record->msg_context.buffer);
    EXPECT_STREQ(*static_cast<char **>(context[0].value), "context") << type.name;
    EXPECT_EQ(test::messageOf(*record),
              (test::Message{"catalog", "%2$s%1$s", 12, {"argument", ""}}))
        << type.name;
    if (isDeferred(type)) {
      EXPECT_EQ(deferTimeOf(record), 86400);
    }
  }
}

TEST_F(ExceptionCreation, CopiesTheTexts) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    char text[] = "text";
    const RecordPtr record(type.create(text, text, 0, text, 0, nullptr, nullptr));
    memset(text, 'x', 4);
    EXPECT_STREQ(record->type_name, "text");
    EXPECT_STREQ(record->catalog, "text");
    EXPECT_STREQ(record->default_msg, "text");
  }
}

TEST_F(ExceptionCreation, LeavesMembersWithoutAValueEmpty) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    const RecordPtr record(type.create(nullptr, nullptr, -1, nullptr, -2, nullptr, nullptr));
    EXPECT_TRUE(isEmpty(record->type_name)) << type.name;
    EXPECT_TRUE(isEmpty(record->catalog)) << type.name;
    EXPECT_EQ(record->key, -1) << type.name;
    EXPECT_TRUE(isEmpty(record->default_msg)) << type.name;
    EXPECT_EQ(record->time_stamp, -2) << type.name;
    EXPECT_EQ(record->msg_context.length, 0U) << type.name;
    EXPECT_EQ(record->emsg.length, 0U) << type.name;
    if (isDeferred(type)) {
      EXPECT_EQ(deferTimeOf(record), 86400);
    }
  }
}

TEST_F(ExceptionCreation, TakesAnyTimeForADeferredDistribution) {
  for (const int32_t time : {0, -1, INT32_MIN, INT32_MAX}) {
    auto *created = _create_NEX_Sprig2_ExDistributionDeferred("name", nullptr, 0, nullptr, 0,
                                                              nullptr, nullptr, time);
    const RecordPtr record(&created->base);
    EXPECT_EQ(created->defer_time, time);
  }
}

TEST_F(ExceptionCreation, MakesRecordsThatAreEqualWithTheSameValues) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    const RecordPtr a = test::sampleRecord(type);
    const RecordPtr b = test::sampleRecord(type);
    EXPECT_TRUE(_t_generic_equal(type.type, nullptr, a.get(), b.get())) << type.name;
    ++b->time_stamp;
    EXPECT_FALSE(_t_generic_equal(type.type, nullptr, a.get(), b.get())) << type.name;
  }
}

TEST_F(ExceptionEncoding, IsThatOfTheFrameworkAndOfTheMembersInOrder) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    const RecordPtr record = test::sampleRecord(type);
    const Bytes bytes = encoded(type, record);
    EXPECT_EQ(bytes, encoded(type.type, record.get())) << type.name;
    EXPECT_EQ(bytes,
              test::encodedBy([&](AdrBuffer *buffer) { marshalMembers(buffer, type, record); }))
        << type.name;
  }
}

TEST_F(ExceptionEncoding, IncludesTheTimeOfADeferredDistribution) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    if (isDeferred(type)) {
      const RecordPtr record = test::sampleRecord(type);
      const Bytes bytes = encoded(type, record);
      ++deferTimeOf(record);
      EXPECT_NE(encoded(type, record), bytes);
    }
  }
}

TEST_F(ExceptionEncoding, IsDecodedToTheSameRecord) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    const RecordPtr record = test::sampleRecord(type);
    const RecordPtr decoded = emptyRecord(type);
    test::decodeBy(encoded(type, record),
                   [&](AdrBuffer *buffer) { type.marshal(buffer, decoded.get()); });
    EXPECT_TRUE(_t_generic_equal(type.type, nullptr, decoded.get(), record.get())) << type.name;
  }
}

TEST_F(ExceptionThrow, TakesACreatedRecord) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    ExErrorMsg *record = test::sampleRecord(type).release();
    const auto thrown = test::thrown([&] { eh_throw(type.name.c_str(), record); });
    ASSERT_TRUE(thrown) << type.name;
    EXPECT_EQ(thrown->typeName, type.name);
    EXPECT_EQ(thrown->timeStamp, 1234567890);
    EXPECT_EQ(thrown->text, "argument") << type.name;
  }
}

TEST_F(ExceptionThrow, TakesADecodedRecord) {
  for (const ExceptionType &type : test::exceptionTypes()) {
    const Bytes bytes = encoded(type, test::sampleRecord(type));
    ExErrorMsg *record = emptyRecord(type).release();
    test::decodeBy(bytes, [&](AdrBuffer *buffer) { type.marshal(buffer, record); });
    const auto thrown = test::thrown([&] { eh_throw(type.name.c_str(), record); });
    ASSERT_TRUE(thrown) << type.name;
    EXPECT_EQ(thrown->typeName, type.name);
    EXPECT_EQ(thrown->text, "argument") << type.name;
  }
}
