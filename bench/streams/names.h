// Streams over many files: finding out what has arrived of each, and opening those that have not.
#ifndef SPRIG_BENCH_STREAMS_NAMES_H
#define SPRIG_BENCH_STREAMS_NAMES_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using Paths = std::vector<std::string>;

// Goes through all files once. Throws where it reads another number of bytes than there is.
using Task = std::function<void()>;

// None of the files is to be opened: all have arrived. They need not be there.
Task makeSprigCompleteTask(const Paths &paths);
// The same with a hash table of the names that is made each time, and with a search from the first
// segment on. These have nothing but names.
Task makeHashCompleteTask(const Paths &paths);
Task makeScanCompleteTask(const Paths &paths);

// Each of the files, of so many bytes, is read.
Task makeSprigTinyTask(const Paths &paths, size_t size);
// The system calls of that alone.
Task makeCallsTinyTask(const Paths &paths, size_t size);

} // namespace bench

#endif
