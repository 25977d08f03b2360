#include "framework/samples.h"

namespace {

XOpenMessage messages() {
  const any arguments = test::anyOf(TC_NEX_Types_StringList, test::stringsOf({"argument", ""}));
  return test::listOf<XOpenMessage, MessageEntry>(
      {{mg_strdup("catalog"), mg_strdup("%2$s%1$s"), 12, arguments}});
}

Sequence context() {
  return test::listOf<Sequence, any>(
      {test::anyOf(TC_string, mg_strdup("context")), {}, test::anyOf(TC_long, int32_t{-5})});
}

} // namespace

template <> Property test::around(const Property &content) { return content; }
template <> Properties test::around(const Property &content) {
  return listOf<Properties>({content});
}
template <> PropertiesList test::around(const Property &content) {
  return listOf<PropertiesList>({around<Properties>(content)});
}
template <> PropertiesListList test::around(const Property &content) {
  return listOf<PropertiesListList>({around<PropertiesList>(content)});
}

template <> Property test::sample(int32_t number) {
  const Property inner = propertyOf("number", anyOf(TC_long, number));
  const Properties list = listOf<Properties>({
      propertyOf("properties", anyOf(TC_NEX_Sprig2_Properties, someProperties())),
      propertyOf("messages", anyOf(TC_NEX_Types_XOpenMessage, messages())),
      propertyOf("any", anyOf(TC_any, anyOf(TC__sequence_any_MsgContext, context()))),
      propertyOf("list", anyOf(TC_NEX_Sprig2_PropertiesList, around<PropertiesList>(inner))),
  });
  return propertyOf("sample", anyOf(TC_NEX_Sprig2_Properties, list));
}
template <> Properties test::sample(int32_t number) {
  return listOf<Properties>({propertyOf("first", {}), sample<Property>(number)});
}
template <> PropertiesList test::sample(int32_t number) {
  return listOf<PropertiesList, Properties>({{}, sample<Properties>(number), {}});
}
template <> PropertiesListList test::sample(int32_t number) {
  return listOf<PropertiesListList>({sample<PropertiesList>(0), sample<PropertiesList>(number)});
}
template <> StreamKey test::sample(int32_t number) {
  return listOf<StreamKey, uint8_t>({0, 255, static_cast<uint8_t>(number), 7, 8});
}

test::RecordPtr test::sampleRecord(const ExceptionType &type) {
  const Value msgContext(TC__sequence_any_MsgContext, context());
  const Value emsg(TC_NEX_Types_XOpenMessage, messages());
  return RecordPtr(type.create(type.name.c_str(), "base catalog", 7, "%7$M", 1234567890,
                               &msgContext.as<Sequence>(), &emsg.as<XOpenMessage>()));
}

test::Value test::sampleOfEachType() {
  auto samples = listOf<Sequence, any>({
      anyOf(TC_NEX_Sprig2_Property, sample<Property>(1)),
      anyOf(TC_NEX_Sprig2__sequence_Property_Properties, sample<Properties>(1)),
      anyOf(TC_NEX_Sprig2__sequence_Properties_PropertiesList, sample<PropertiesList>(1)),
      anyOf(TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList,
            sample<PropertiesListList>(1)),
      anyOf(TC_NEX_Sprig2__sequence_octet_StreamKey, sample<StreamKey>(1)),
      anyOf(TC_NEX_Sprig2_Repeater, mg_strdup("repeater")),
  });
  for (const ExceptionType &type : exceptionTypes()) {
    const any record{type.type, sampleRecord(type).release()};
    seq_add(&samples, &record, sizeof record);
  }
  return {TC__sequence_any_MsgContext, samples};
}

std::span<any> test::anysIn(const Value &sequence) {
  const auto &list = sequence.as<Sequence>();
  return {static_cast<any *>(list.buffer), list.length};
}
