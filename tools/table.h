// Rows whose columns stand below each other.
#ifndef SPRIG_TOOLS_TABLE_H
#define SPRIG_TOOLS_TABLE_H

#include <string>
#include <vector>

namespace tool {

enum class Align { left, right };

class Table {
public:
  struct Column {
    std::string title;
    Align align = Align::left;
  };

  explicit Table(std::vector<Column> columns);

  // A row has a value for each column.
  void add(std::vector<std::string> row);
  // The titles and the rows, two blanks between columns.
  std::vector<std::string> lines() const;
  // The same, with newlines.
  std::string text() const;

private:
  std::string line(const std::vector<std::string> &row) const;

  std::vector<Column> columns_;
  std::vector<size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
};

} // namespace tool

#endif
