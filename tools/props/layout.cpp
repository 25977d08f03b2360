#include "props/layout.h"

#include <algorithm>
#include <array>
#include <optional>

#include "failure.h"
#include "file.h"
#include "json.h"
#include "json_text.h"
#include "output.h"
#include "reason.h"

using sprig::Layout;
using sprig::PropertyList;

namespace tool {
namespace {

struct BinaryLayout {
  const char *name;
  Layout layout;
};
constexpr std::array binaryLayouts{BinaryLayout{"with-length", Layout::with_length},
                                   BinaryLayout{"improved", Layout::improved},
                                   BinaryLayout{"bare", Layout::bare}};
constexpr const char *jsonLayout = "json";

std::string contentOf(InputFile &file) {
  std::string content;
  std::array<char, 65536> buffer;
  while (const size_t count = file.read(buffer.data(), buffer.size())) {
    content.append(buffer.data(), count);
  }
  return content;
}

PropertyList loadJson(const std::string &path) {
  InputFile file(path);
  try {
    return listFromJson(parseJson(contentOf(file)));
  } catch (const std::runtime_error &failure) {
    throw Failure(printable(path) + ": " + failure.what());
  }
}

bool isJson(const std::string &path) {
  InputFile file(path);
  std::array<char, 256> buffer;
  const std::string_view beginning(buffer.data(), file.read(buffer.data(), buffer.size()));
  const size_t letter = beginning.find_first_not_of(" \t\r\n");
  return letter != std::string_view::npos && beginning[letter] == '{';
}

// What stands in front of a list in a file tells whether it is one. Nothing tells that of a bare
// one but that it fills the file.
std::optional<PropertyList> attempt(const std::string &path, Layout layout) {
  try {
    PropertyList list = PropertyList::load(path, layout);
    const bool isWhole = layout != Layout::bare || list.encode().size() == InputFile(path).size();
    return isWhole ? std::optional(std::move(list)) : std::nullopt;
  } catch (const sprig::Error &) {
    return std::nullopt;
  }
}

ListFile loadAny(const std::string &path) {
  for (const auto &[name, layout] : binaryLayouts) {
    if (auto list = attempt(path, layout)) {
      return {std::move(*list), name};
    }
  }
  if (!isJson(path)) {
    throw Failure(printable(path) + ": no property list in any layout",
                  "with --layout LAYOUT it is told what is wrong");
  }
  return {loadJson(path), jsonLayout};
}

const BinaryLayout &layoutNamed(const std::string &name) {
  return *std::find_if(binaryLayouts.begin(), binaryLayouts.end() - 1,
                       [&](const BinaryLayout &layout) { return name == layout.name; });
}

} // namespace

std::vector<std::string> layoutNames() {
  return {binaryLayouts[0].name, binaryLayouts[1].name, binaryLayouts[2].name, jsonLayout};
}

ListFile loadList(const std::string &path, const std::string &layout) {
  static_cast<void>(InputFile(path)); // which names what it refuses
  if (layout.empty()) {
    return loadAny(path);
  }
  if (layout == jsonLayout) {
    return {loadJson(path), layout};
  }
  try {
    return {PropertyList::load(path, layoutNamed(layout).layout), layout};
  } catch (const sprig::Error &error) {
    throw Failure(printable(path) + ": no property list " + layout + ": " + reasonOf(error),
                  "without --layout it is found out");
  }
}

void saveList(const PropertyList &list, const std::string &layout, const std::string &path,
              const std::string &origin) {
  try {
    if (layout == jsonLayout) {
      OutputFile file(path);
      file.write(jsonText(toJson(list)));
      file.close();
    } else {
      list.save(path, layoutNamed(layout).layout);
    }
  } catch (const sprig::Error &error) {
    throw Failure(printable(origin) + ": " + reasonOf(error));
  } catch (const Failure &failure) {
    throw Failure(printable(origin) + ": " + failure.what(), failure.hint());
  }
}

} // namespace tool
