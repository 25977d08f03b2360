// What is measured: the operations on values, and how a subject of the benchmark provides them.
#ifndef SPRIG_BENCH_VALUES_TASK_H
#define SPRIG_BENCH_VALUES_TASK_H

#include <cstdint>
#include <functional>

namespace bench {

// Does once what is measured, with what was prepared for it.
using Task = std::function<void()>;

// Prepares a task of some size. Throws if what it is to measure goes wrong.
using TaskMaker = std::function<Task(int64_t size)>;

enum class Operation { encode, decode, copy, equal };

// Sizes are numbers of fields. That of the list stands for all of its records together.
constexpr int64_t recordSizes[] = {8, 20, 60};
constexpr int64_t listSize = 12000;

Task makeSprigTask(Operation operation, int64_t size);
Task makeProtobufTask(Operation operation, int64_t size);
Task makeMsgpackTask(Operation operation, int64_t size);
Task makeGvariantTask(Operation operation, int64_t size);

// What the bytes of the project's encoding cost alone: a block and a move, or a comparison.
Task makeBytesTask(Operation operation, int64_t size);

// So many blocks of 16 to 48 bytes are allocated, and released in the same order.
Task makeSprigBlocksTask(int64_t count);
Task makeSystemBlocksTask(int64_t count);

} // namespace bench

#endif
