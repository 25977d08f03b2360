// The tables and examples of a document, so that tests can hold code and document against each
// other.
#ifndef SPRIG_TESTS_SUPPORT_DOCUMENT_H
#define SPRIG_TESTS_SUPPORT_DOCUMENT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace test {

using Row = std::vector<std::string>;

// What stands in the cells of a table's line, without backquotes.
Row cellsOf(const std::string &line);

// Bytes that are shown in rows, "    OFFSET  BYTES  what they are".
struct Example {
  std::string bytes;
  std::vector<size_t> offsets; // as written before each row
  std::vector<size_t> counted; // as they are

  void add(const std::string &row);
};

struct Document {
  std::map<std::string, std::vector<Row>> tables; // by their first lines
  std::map<std::string, Example> examples;        // by their headings
  std::string text;
};

Document readDocument(const std::string &path);

} // namespace test

#endif
