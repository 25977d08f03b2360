// Runs tasks in a process of their own, for what a process decides once and for all.
#ifndef SPRIG_BENCH_VALUES_SECOND_PROCESS_H
#define SPRIG_BENCH_VALUES_SECOND_PROCESS_H

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "values/task.h"

namespace bench {

// The tasks that were made so far: each is prepared once, however often it is measured.
class Tasks {
public:
  explicit Tasks(std::vector<TaskMaker> makers) : makers_(std::move(makers)) {}

  const Task &get(size_t maker, int64_t size);

private:
  std::vector<TaskMaker> makers_;
  std::map<std::pair<size_t, int64_t>, Task> tasks_;
};

class SecondProcess {
public:
  // Starts the process, in which an environment variable is set. The makers are called there.
  SecondProcess(const char *name, const char *value, const std::vector<TaskMaker> &makers);
  ~SecondProcess();
  SecondProcess(const SecondProcess &) = delete;
  SecondProcess &operator=(const SecondProcess &) = delete;

  // How many seconds it takes to do a task so many times.
  double seconds(size_t maker, int64_t size, int64_t times) const;

private:
  int socket_;
  pid_t process_;
};

} // namespace bench

#endif
