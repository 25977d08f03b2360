#include "framework/records.h"

#include <cstdarg>

#include <gtest/gtest.h>

void test::ReleaseRecord::operator()(ExErrorMsg *record) const {
  nex_free_generic(record, TC_NEX_Sprig2_ExSprigException);
  mg_free(record);
}

test::RecordPtr test::makeRecord(const char *typeName, size_t size, const char *catalog, int32_t id,
                                 const char *text, ...) {
  va_list arguments;
  va_start(arguments, text);
  void *record = vMakeExErrorDerived(typeName, size, catalog, id, text, arguments);
  va_end(arguments);
  return RecordPtr(static_cast<ExErrorMsg *>(record));
}

test::Message test::messageOf(const ExErrorMsg &record) {
  EXPECT_EQ(record.emsg.length, 1U);
  EXPECT_GE(record.emsg.maximum, record.emsg.length);
  const MessageEntry &entry = record.emsg.buffer[0];
  Message message{{}, entry.default_text, entry.message_id, {}};
  if (entry.catalog != nullptr) {
    message.catalog = entry.catalog;
  }
  EXPECT_TRUE(TypeCode_equal(entry.arguments.type, TC_NEX_Types_StringList));
  const auto *list = static_cast<const StringList *>(entry.arguments.value);
  if (list == nullptr) {
    ADD_FAILURE() << "no list of arguments";
    return message;
  }
  EXPECT_EQ(list->maximum, list->length);
  message.arguments.assign(list->buffer, list->buffer + list->length);
  return message;
}

test::Strings test::argumentsOf(const ExErrorMsg &record) { return messageOf(record).arguments; }

std::string test::shown(ExErrorMsg &record) {
  char *text = def_ex_bind(&record);
  std::string result = text;
  mg_free(text);
  return result;
}

std::ostream &test::operator<<(std::ostream &out, const Message &message) {
  out << message.catalog.value_or("(none)") << ' ' << message.id << ' ' << message.text << " with";
  for (const std::string &argument : message.arguments) {
    out << " \"" << argument << '"';
  }
  return out;
}

const std::vector<test::ExceptionType> &test::exceptionTypes() {
#define PLAIN_TYPE(Name)                                                                           \
  {"NEX_Sprig2::" #Name, TC_NEX_Sprig2_##Name, sizeof(ExErrorMsg), _create_NEX_Sprig2_##Name,      \
   adr_v_NEX_Sprig2_##Name},
  static const std::vector<ExceptionType> types{
      SPRIG_PLAIN_EXCEPTION_TYPES(PLAIN_TYPE){
          "NEX_Sprig2::ExDistributionDeferred", TC_NEX_Sprig2_ExDistributionDeferred,
          sizeof(ExDistributionDeferred),
          [](SPRIG_EXCEPTION_MEMBERS) {
            return &_create_NEX_Sprig2_ExDistributionDeferred(type_name, catalog, key, default_msg,
                                                              time_stamp, msg_context, emsg, 86400)
                        ->base;
          },
          [](AdrBuffer *buffer, ExErrorMsg *record) {
            adr_v_NEX_Sprig2_ExDistributionDeferred(
                buffer, reinterpret_cast<ExDistributionDeferred *>(record));
          }},
  };
#undef PLAIN_TYPE
  return types;
}
