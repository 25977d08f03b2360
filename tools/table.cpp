#include "table.h"

#include <algorithm>

namespace tool {
namespace {

// Letters of UTF-8, which has bytes behind some letters' first.
size_t widthOf(const std::string &text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80;
  }));
}

} // namespace

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)), widths_(columns_.size()) {
  std::vector<std::string> titles;
  for (const Column &column : columns_) {
    titles.push_back(column.title);
  }
  add(std::move(titles));
}

void Table::add(std::vector<std::string> row) {
  for (size_t i = 0; i < widths_.size(); ++i) {
    widths_[i] = std::max(widths_[i], widthOf(row[i]));
  }
  rows_.push_back(std::move(row));
}

std::vector<std::string> Table::lines() const {
  std::vector<std::string> lines;
  for (const auto &row : rows_) {
    lines.push_back(line(row));
  }
  return lines;
}

std::string Table::text() const {
  std::string text;
  for (const std::string &line : lines()) {
    text += line + '\n';
  }
  return text;
}

std::string Table::line(const std::vector<std::string> &row) const {
  std::string text;
  for (size_t i = 0; i < row.size(); ++i) {
    const std::string blanks(widths_[i] - widthOf(row[i]), ' ');
    text += i == 0 ? "" : "  ";
    text += columns_[i].align == Align::left ? row[i] + blanks : blanks + row[i];
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

} // namespace tool
