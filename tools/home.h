// Where the tool keeps what outlives a run.
#ifndef SPRIG_TOOLS_HOME_H
#define SPRIG_TOOLS_HOME_H

#include <string>

namespace tool {

// "$XDG_STATE_HOME/sprig", else "~/.local/state/sprig". It is made where it is missing.
std::string stateDirectory();

// Lets the library keep status files in the state directory, unless KRT_WORKDIR says where.
void useWorkDirectory();

// The depot that is used where none is named: "depot_dir" of the endpoint's configuration, else
// "depot" in the state directory.
std::string defaultDepot();

// The address at which the sender of a distribution takes commands. Its directory is made where it
// is missing.
std::string commandAddress(const std::string &distributionId);

// A path from the root, without "." and "..": for what is used after a change of the directory.
// Throws Failure, status wrongUsage, for an empty one.
std::string absolutePath(const std::string &path);
// An address with its path made absolute, where it has one.
std::string absoluteAddress(const std::string &address);

} // namespace tool

#endif
