// What docs/formats/properties.md shows is what the code does.
#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/properties.h>

#include "properties/layouts.h"
#include "runtime/adr/hex.h"
#include "support/exceptions.h"
#include "support/temporary_directory.h"
#include "support/values.h"

using test::anyOf;
using test::Layout;
using test::List;
using test::propertyOf;

namespace {

// The document.

using Row = std::vector<std::string>;

struct Example {
  std::string file;
  std::vector<size_t> offsets; // as written before each row
  std::vector<size_t> counted; // as they are
};

struct Document {
  std::map<std::string, std::vector<Row>> tables; // by their first lines
  std::map<std::string, Example> examples;        // by their headings
};

Row cellsOf(const std::string &line) {
  Row cells;
  std::istringstream rest(line.substr(1));
  for (std::string cell; std::getline(rest, cell, '|');) {
    const size_t first = cell.find_first_not_of(' ');
    cells.push_back(first == std::string::npos
                        ? ""
                        : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
  }
  return cells;
}

// "    OFFSET  BYTES  what they are"
void addRow(Example &example, const std::string &line) {
  const size_t start = strlen("    00000000  ");
  example.offsets.push_back(std::stoul(line, nullptr, 16));
  example.counted.push_back(example.file.size());
  example.file +=
      test::textOf(test::bytesOfHex(line.substr(start, line.find("  ", start) - start)));
}

Document readDocument() {
  std::ifstream file(SPRIG_SOURCE_DIR "/docs/formats/properties.md");
  Document document;
  std::string heading;
  std::string table;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() != '|') {
      table.clear();
    } else if (table.empty()) {
      table = line;
    } else if (!line.starts_with("|-")) {
      document.tables[table].push_back(cellsOf(line));
    }
    if (line.starts_with('#')) {
      heading = line.substr(line.find(' ') + 1);
    } else if (line.starts_with("    0")) {
      addRow(document.examples[heading], line);
    }
  }
  return document;
}

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

  const Document document = readDocument();
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
    EXPECT_EQ(test::readFile(path), onThisMachine(layout, example.file));
  }
}

TEST_F(PropertyFileDocument, HasTheListOfEachLayout) {
  for (const auto &[heading, example] : document.examples) {
    const Layout &layout = layoutCalled(heading);
    test::writeFile(path, onThisMachine(layout, example.file));
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
