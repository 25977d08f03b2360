// What is measured: the operations on property lists, and how a subject provides them.
#ifndef SPRIG_BENCH_PROPERTIES_TASK_H
#define SPRIG_BENCH_PROPERTIES_TASK_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "values/document.h"

namespace bench {

using Names = std::vector<std::string>;

// How the names of a list's properties look.
enum class Naming {
  numbered, // all equally long, and all different only in the end
  words,    // as a list of settings has them
};

// So many names, all different.
Names makeNames(Naming naming, size_t count);
// The same in another order, and two more, which a list of those names does not have.
Names shuffled(Names names);

// Does once what is measured, with what was prepared for it.
using Task = std::function<void()>;

// Lists of numbers. Each task looks up every name that it is given, whether it is there or not;
// puts a number under every name that is there already; or puts the numbers into an empty list.
struct ByName {
  Task get;
  Task put;
  Task build;
};

// Lists of values of all kinds.
struct AsAWhole {
  Task clone;
  Task equal;
  Task save;
  Task load;
};

ByName makeSprigByName(const Names &names);
ByName makeProtobufByName(const Names &names);
// What the names cost alone: a list of numbers in blocks of the system's, searched with strcmp().
ByName makeScanByName(const Names &names);

// Files are saved under a path of their own.
AsAWhole makeSprigAsAWhole(const Record &record, const std::string &path);
AsAWhole makeProtobufAsAWhole(const Record &record, const std::string &path);
// What the bytes of the project's encoding cost alone: a block and a move, a comparison, and the
// calls of the system.
AsAWhole makeBytesAsAWhole(const Record &record, const std::string &path);

} // namespace bench

#endif
