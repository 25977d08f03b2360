#include "support/document.h"

#include <cstring>
#include <fstream>
#include <sstream>

test::Row test::cellsOf(const std::string &line) {
  Row cells;
  std::istringstream rest(line.substr(1));
  for (std::string cell; std::getline(rest, cell, '|');) {
    std::erase(cell, '`');
    const size_t first = cell.find_first_not_of(' ');
    cells.push_back(first == std::string::npos
                        ? ""
                        : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
  }
  return cells;
}

void test::Example::add(const std::string &row) {
  const size_t start = strlen("    00000000  ");
  offsets.push_back(std::stoul(row, nullptr, 16));
  counted.push_back(bytes.size());
  std::istringstream hex(row.substr(start, row.find("  ", start) - start));
  for (std::string byte; hex >> byte;) {
    bytes += static_cast<char>(std::stoul(byte, nullptr, 16));
  }
}

test::Document test::readDocument(const std::string &path) {
  std::ifstream file(path);
  Document document;
  std::string heading;
  std::string table;
  for (std::string line; std::getline(file, line);) {
    document.text.append(line).append("\n");
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
      document.examples[heading].add(line);
    }
  }
  return document;
}
