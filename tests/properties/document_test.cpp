// What docs/formats/properties.md shows is what the code does.
#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/properties.h>

#include "properties/layouts.h"
#include "runtime/adr/hex.h"
#include "support/document.h"
#include "support/exceptions.h"
#include "support/temporary_directory.h"
#include "support/values.h"

using test::anyOf;

using test::Layout;
using test::List;
using test::propertyOf;
using test::Row;

namespace {

// What it names.

const Layout &layoutCalled(std::string name) {
  static const std::map<std::string, Layout> layouts = {
      {"with length", test::withLength}, {"improved", test::improved}, {"bare", test::bare}};
  name.front() = static_cast<char>(tolower(name.front()));
  return layouts.at(name);
}

// A file of the document on this machine, whose words may be the other way round.
std::string onThisMachine(const Layout &layout, std::string file) {
  if (std::endian::native == std::endian::big) {
    const size_t whole = std::min(file.size(), layout.headerSize()) / sizeof(uint32_t);
    for (size_t word = 0; word < whole; ++word) {
      const auto start = file.begin() + static_cast<std::ptrdiff_t>(word * sizeof(uint32_t));
      std::reverse(start, start + sizeof(uint32_t));
    }
  }
  return file;
}

Properties exampleList() {
  const auto parts = test::listOf<Properties>({propertyOf("a", anyOf(TC_boolean, uint8_t{1}))});
  return test::listOf<Properties>({propertyOf("name", anyOf(TC_string, mg_strdup("rosebud"))),
                                   propertyOf("size", anyOf(TC_long, int32_t{-2})),
                                   propertyOf("parts", anyOf(TC_NEX_Sprig2_Properties, parts))});
}

class PropertyFileDocument : public test::DirectoryTest {
protected:
  PropertyFileDocument() { sprig_init(); }

  // What happens when a file is loaded, in the document's words.
  std::string happening(const Layout &layout, const std::string &file) const {
    test::writeFile(path, onThisMachine(layout, file));
    List list;
    const auto thrown = test::thrown([&] { layout.load(&list, path.c_str()); });
    if (!thrown) {
      return list.length == 0 ? "is an empty list" : "is a list";
    }
    const std::string message = "message " + std::to_string(thrown->id);
    const std::vector<std::string> &arguments = thrown->arguments;
    if (arguments.size() == 1) {
      return message + ", code " + arguments[0];
    }
    return arguments == Row{path, arguments[1], "0"} ? message + ", length " + arguments[1]
                                                     : message + " with other arguments";
  }

  const test::Document document =
      test::readDocument(SPRIG_SOURCE_DIR "/docs/formats/properties.md");
  const std::string path = directory / "f";
};

} // namespace

TEST_F(PropertyFileDocument, HasTheBytesOfEachLayout) {
  EXPECT_EQ(document.examples.size(), test::layouts.size());
  for (const auto &[heading, example] : document.examples) {
    SCOPED_TRACE(heading);
    EXPECT_EQ(example.offsets, example.counted);
    const Layout &layout = layoutCalled(heading);
    const List list(exampleList());
    layout.save(&list, path.c_str());
    EXPECT_EQ(test::readFile(path), onThisMachine(layout, example.bytes));
  }
}

TEST_F(PropertyFileDocument, HasTheListOfEachLayout) {
  for (const auto &[heading, example] : document.examples) {
    const Layout &layout = layoutCalled(heading);
    test::writeFile(path, onThisMachine(layout, example.bytes));
    List list;
    layout.load(&list, path.c_str());
    const List expected(exampleList());
    EXPECT_TRUE(_t_generic_equal(TC_NEX_Sprig2_Properties, nullptr, &list, &expected)) << heading;
  }
}

TEST_F(PropertyFileDocument, SaysWhatHappensToDamagedFiles) {
  const std::vector<Row> &rows = document.tables.at("| layout | file | what happens |");
  EXPECT_GT(rows.size(), 20U);
  for (const Row &row : rows) {
    const std::string file = test::textOf(test::bytesOfHex(row[1]));
    EXPECT_EQ(happening(layoutCalled(row[0]), file), row[2]) << row[0] << ": " << row[1];
  }
}
