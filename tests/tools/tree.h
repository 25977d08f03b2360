// Directory trees as values: made, read, and compared completely.
#ifndef SPRIG_TESTS_TOOLS_TREE_H
#define SPRIG_TESTS_TOOLS_TREE_H

#include <cstdint>
#include <map>
#include <ostream>
#include <string>

namespace test {

// A file, a directory or a link of a tree.
struct Node {
  enum class Kind { file, directory, link };

  Kind kind = Kind::file;
  unsigned mode = 0;    // not of links
  int64_t modified = 0; // seconds since the epoch; of files
  std::string content;  // of a link: where it leads

  friend bool operator==(const Node &, const Node &) = default;
};
std::ostream &operator<<(std::ostream &stream, const Node &node);

Node file(const std::string &content, unsigned mode = 0644, int64_t modified = 1700000000);
Node folder(unsigned mode = 0755);
Node link(const std::string &target);

// What is where, by the path from the top.
using Tree = std::map<std::string, Node>;

void makeTree(const std::string &top, const Tree &tree);
// All that is below a directory.
Tree readTree(const std::string &top);

// A tree with everything that can be packed, under names that are easily misread.
Tree oddTree();

} // namespace test

#endif
