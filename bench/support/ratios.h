// Runs benchmarks and shows them as ratios. A benchmark is registered as "group/subject", with one
// argument for the size; within a group and size, every subject is compared with "sprig".
#ifndef SPRIG_BENCH_SUPPORT_RATIOS_H
#define SPRIG_BENCH_SUPPORT_RATIOS_H

namespace bench {

// Runs what is registered, with Google Benchmark's command line. Prints a table for each group:
// the median time, and behind it how many times as long as the project's own subject it took.
int run(int argc, char **argv);

} // namespace bench

#endif
