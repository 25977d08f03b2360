#include "json_text.h"

#include <unordered_set>
#include <utility>
#include <vector>

#include "failure.h"
#include "output.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

// More than a property list has, as deep as those may be nested; few enough for recursion.
constexpr size_t deepest = 200;

Failure keyTwice(const std::string &key) {
  return Failure("the key \"" + printable(key) + "\" is there twice");
}

// "line 1, column 2: ..." of the parser's message, without what it has read, which may be long.
std::string placeAndReason(std::string_view message) {
  message = message.substr(0, message.find("; last read"));
  const size_t place = message.find("line ");
  return std::string(message.substr(place == std::string_view::npos ? 0 : place));
}

// Makes a document of what the parser finds. Looking for a key is no walk over all the others.
class Builder : public nlohmann::json_sax<Json> {
public:
  Json take() { return std::move(document_.front()); }

  bool null() override { return add(Json()); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(value); }
  bool number_unsigned(number_unsigned_t value) override { return add(value); }
  bool number_float(number_float_t value, const string_t & /*text*/) override { return add(value); }
  bool string(string_t &value) override { return add(std::move(value)); }
  bool binary(binary_t & /*value*/) override { return false; } // JSON has none

  bool start_object(size_t /*size*/) override { return open(Json::object()); }
  bool end_object() override { return close(); }
  bool start_array(size_t /*size*/) override { return open(Json::array()); }
  bool end_array() override { return close(); }

  bool key(string_t &key) override {
    Open &object = open_.back();
    if (!object.keys.insert(key).second) {
      throw keyTwice(key);
    }
    object.key = std::move(key);
    return true;
  }

  bool parse_error(size_t /*position*/, const std::string & /*token*/,
                   const nlohmann::detail::exception &error) override {
    throw Failure("no JSON: " + printable(placeAndReason(error.what())));
  }

private:
  // An object or an array that has begun.
  struct Open {
    Json value;
    std::unordered_set<std::string> keys;
    std::string key; // of the next value
  };

  bool open(Json empty) {
    if (open_.size() == deepest) {
      throw Failure("JSON that is nested more than " + std::to_string(deepest) + " deep");
    }
    open_.push_back({std::move(empty), {}, {}});
    return true;
  }

  bool close() {
    Json value = std::move(open_.back().value);
    open_.pop_back();
    return add(std::move(value));
  }

  bool add(Json value) {
    if (open_.empty()) {
      document_.push_back(std::move(value));
    } else if (Open &parent = open_.back(); parent.value.is_array()) {
      parent.value.push_back(std::move(value));
    } else {
      parent.value.get_ref<Json::object_t &>().emplace_back(std::move(parent.key),
                                                            std::move(value));
    }
    return true;
  }

  Json::array_t document_; // of one value
  std::vector<Open> open_;
};

void refuseKeysThatAreThereTwice(const Json &json) {
  if (json.is_object()) {
    std::unordered_set<std::string_view> keys;
    for (const auto &[key, value] : json.get_ref<const Json::object_t &>()) {
      if (!keys.insert(key).second) {
        throw keyTwice(key);
      }
      refuseKeysThatAreThereTwice(value);
    }
  } else if (json.is_array()) {
    for (const Json &element : json) {
      refuseKeysThatAreThereTwice(element);
    }
  }
}

} // namespace

Json parseJson(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) { // which would be the end for the parser
    throw Failure("no JSON: it has a NUL inside");
  }
  Builder builder;
  Json::sax_parse(text, &builder);
  return builder.take();
}

std::string jsonText(const Json &json) {
  refuseKeysThatAreThereTwice(json);
  try {
    return json.dump(2) + '\n';
  } catch (const Json::type_error &) {
    throw Failure("text that is no UTF-8, which JSON cannot have");
  }
}

} // namespace tool
