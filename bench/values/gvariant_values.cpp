#include <glib.h>

#include "values/codec.h"

namespace bench {
namespace {

// A builder's result floats, until something takes it.
GVariant *build(const Record &record);

GVariant *build(const Value &value) {
  if (const auto *octets = std::get_if<Octets>(&value)) {
    GVariant *bytes =
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, octets->data(), octets->size(), 1);
    (void)g_variant_is_normal_form(bytes); // once known, comparisons need no detour
    return bytes;
  }
  if (const auto *record = std::get_if<Record>(&value)) {
    return build(*record);
  }
  if (const auto *text = std::get_if<std::string>(&value)) {
    return g_variant_new_string(text->c_str());
  }
  const auto *number = std::get_if<int32_t>(&value);
  return number != nullptr ? g_variant_new_int32(*number)
                           : g_variant_new_boolean(std::get<bool>(value));
}

GVariant *build(const Record &record) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  for (const Field &field : record) {
    g_variant_builder_add(&builder, "{sv}", field.name.c_str(), build(field.value));
  }
  return g_variant_builder_end(&builder);
}

GVariant *build(const List &list) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("aa{sv}"));
  for (const Record &record : list) {
    g_variant_builder_add_value(&builder, build(record));
  }
  return g_variant_builder_end(&builder);
}

void read(GVariant *variant, Record &record);

Value readValue(GVariant *variant) {
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_STRING) != FALSE) {
    return std::string(g_variant_get_string(variant, nullptr));
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_INT32) != FALSE) {
    return static_cast<int32_t>(g_variant_get_int32(variant));
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BOOLEAN) != FALSE) {
    return g_variant_get_boolean(variant) != FALSE;
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BYTESTRING) != FALSE) {
    gsize length = 0;
    const auto *octets =
        static_cast<const uint8_t *>(g_variant_get_fixed_array(variant, &length, 1));
    return Octets(octets, octets + length);
  }
  Record record;
  read(variant, record);
  return record;
}

void read(GVariant *variant, Record &record) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, variant);
  const char *name = nullptr;
  GVariant *value = nullptr;
  while (g_variant_iter_loop(&iterator, "{&sv}", &name, &value) != FALSE) {
    record.push_back({name, readValue(value)});
  }
}

void read(GVariant *variant, List &list) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, variant);
  GVariant *record = nullptr;
  while (g_variant_iter_loop(&iterator, "@a{sv}", &record) != FALSE) {
    read(record, list.emplace_back());
  }
}

struct Release {
  void operator()(GVariant *variant) const { g_variant_unref(variant); }
  void operator()(void *bytes) const { g_free(bytes); }
};

// A value is read in place, so that decoding is taking a copy of the bytes and checking them.
template <class Document> struct GvariantFormat {
  using Value = std::unique_ptr<GVariant, Release>;
  struct Encoding {
    std::unique_ptr<void, Release> bytes;
    gsize length;
  };

  static Value build(const Document &document) {
    return Value(g_variant_ref_sink(bench::build(document)));
  }
  static Encoding encode(const Value &value) {
    const gsize length = g_variant_get_size(value.get());
    Encoding encoding{std::unique_ptr<void, Release>(g_malloc(length)), length};
    g_variant_store(value.get(), encoding.bytes.get());
    return encoding;
  }
  static Value decode(const Encoding &encoding) {
    void *bytes = g_memdup2(encoding.bytes.get(), encoding.length);
    Value value = wrap(bytes, encoding.length, false);
    return g_variant_is_normal_form(value.get()) != FALSE ? std::move(value) : nullptr;
  }
  static Value copy(const Value &value) {
    Encoding encoding = encode(value);
    return wrap(encoding.bytes.release(), encoding.length, true);
  }
  static bool equal(const Value &a, const Value &b) {
    return g_variant_equal(a.get(), b.get()) != FALSE;
  }
  static Document read(const Value &value) {
    Document document;
    bench::read(value.get(), document);
    return document;
  }

private:
  static Value wrap(void *bytes, gsize length, bool isTrusted) {
    const GVariantType *type =
        std::is_same_v<Document, Record> ? G_VARIANT_TYPE_VARDICT : G_VARIANT_TYPE("aa{sv}");
    return Value(g_variant_ref_sink(
        g_variant_new_from_data(type, bytes, length, isTrusted ? TRUE : FALSE, g_free, bytes)));
  }
};

} // namespace

Task makeGvariantTask(Operation operation, int64_t size) {
  return makeTaskOfSize<GvariantFormat>(operation, size);
}

} // namespace bench
