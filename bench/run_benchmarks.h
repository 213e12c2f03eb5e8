// What the benchmark programs share: their end.
#pragma once

// Runs the registered benchmarks under Google Benchmark's own options and then writes the process's peak of resident
// memory to standard error as "peak_kib N", which bench/run reads. The status for main to return.
int runBenchmarks(int count, char** arguments);
