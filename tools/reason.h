// Why the library could not do something with a property list, in a few words.
#ifndef SPRIG_TOOLS_REASON_H
#define SPRIG_TOOLS_REASON_H

#include <string>

#include <sprig/sprig.hpp>

namespace tool {

// The failure's own text, or what is behind its numbers; for text that names the file itself.
std::string reasonOf(const sprig::Error &error);

} // namespace tool

#endif
