// Property lists for people.
#ifndef SPRIG_TOOLS_PROPS_SHOW_H
#define SPRIG_TOOLS_PROPS_SHOW_H

#include <string>
#include <vector>

#include "json.h"

namespace tool {

// "KEY (TYPE): VALUE" of each property of a list; what is in lists is indented below.
std::vector<std::string> shownList(const Json &list);

} // namespace tool

#endif
