// Property lists in files of any layout.
#ifndef SPRIG_TOOLS_PROPS_LAYOUT_H
#define SPRIG_TOOLS_PROPS_LAYOUT_H

#include <string>
#include <vector>

#include <sprig/sprig.hpp>

namespace tool {

// How a list lies in a file, by its name; "" where that is to be found out.
std::vector<std::string> layoutNames();

struct ListFile {
  sprig::PropertyList list;
  std::string layout;
};

// Throws Failure, which names the file, for what is no list.
ListFile loadList(const std::string &path, const std::string &layout);

// Writes the file in place. Failures name `origin`.
void saveList(const sprig::PropertyList &list, const std::string &layout, const std::string &path,
              const std::string &origin);

} // namespace tool

#endif
