// Registration helpers shared by the workload files.
//
// Every benchmark is named "Workload/Case/Contender".  Contender names start
// with the library's name ("ZxVariant", "RapidJSON", "FlexBuffers", ...);
// within a case, the first contender whose name starts with "ZxVariant" is
// the reference that bench/results_to_md.py divides the others by.  A
// contender that has no equivalent operation is still listed, as "n/a" with
// its reason, so that the tables say so instead of leaving a silent gap.
//
// Each benchmark runs its operation once and checks the result before the
// timing loop; a failed check stops that benchmark with an error message
// that the tables show, and makes bench/run.sh fail.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "bench_data.h"

namespace zxvbench {

using Body = std::function<void(benchmark::State&)>;

benchmark::internal::Benchmark* Add(const std::string& workload, const std::string& kase,
                                    const std::string& contender, Body body);

// Listed as "n/a: <reason>".
void NotApplicable(const std::string& workload, const std::string& kase, const std::string& contender,
                   const std::string& reason);

// False (and the benchmark stopped with "verification failed: <what>") when
// !ok, so that a body can write  if (!Verified(state, ok, "...")) return;
bool Verified(benchmark::State& state, bool ok, const std::string& what);

// One workload each; the data outlives the run.
void RegisterJsonBenchmarks(const std::vector<Document>& documents);
void RegisterBuildBenchmarks();
void RegisterCheckBenchmarks(const std::vector<Document>& documents);
void RegisterRelocateBenchmarks(const std::vector<Document>& documents);
void RegisterLookupBenchmarks();
void RegisterTreeBenchmarks(const std::vector<Document>& documents);

}  // namespace zxvbench
