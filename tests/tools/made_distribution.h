// Distributions made by hand: directories such as `sprig pack` makes.
#ifndef SPRIG_TESTS_TOOLS_MADE_DISTRIBUTION_H
#define SPRIG_TESTS_TOOLS_MADE_DISTRIBUTION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "distribution.h"

namespace test {

struct TreeFile {
  std::string path; // from the top of the tree
  std::string content;
};
using TreeFiles = std::vector<TreeFile>;

// Makes the distribution, in a directory that is made as well, of files and the directories that
// they lie in. Files are cut into segments of the size; a segment's id is its file's path.
tool::Distribution makeDistribution(const std::string &directory, const std::string &id,
                                    const TreeFiles &files, size_t segmentSize = SIZE_MAX);

// Bytes that do not repeat within a piece that is sent; others for every seed.
std::string contentOf(size_t size, uint32_t seed = 1);

} // namespace test

#endif
