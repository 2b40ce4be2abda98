#include "bench_common.h"

#include <utility>

namespace zxvbench {

benchmark::internal::Benchmark* Add(const std::string& workload, const std::string& kase,
                                    const std::string& contender, Body body) {
  const std::string name = workload + "/" + kase + "/" + contender;
  return benchmark::RegisterBenchmark(name.c_str(), [body = std::move(body)](benchmark::State& state) {
    body(state);
  });
}

void NotApplicable(const std::string& workload, const std::string& kase, const std::string& contender,
                   const std::string& reason) {
  const std::string message = "n/a: " + reason;
  Add(workload, kase, contender, [message](benchmark::State& state) {
    state.SkipWithError(message.c_str());
  })->Iterations(1)->Repetitions(1);
}

bool Verified(benchmark::State& state, bool ok, const std::string& what) {
  if (!ok) {
    const std::string message = "verification failed: " + what;
    state.SkipWithError(message.c_str());
  }
  return ok;
}

}  // namespace zxvbench
