#!/usr/bin/env bash
# Builds the benchmark suite (Release, in build-bench/), runs every workload
# against every peer in one process and writes bench/RESULTS.md.
#
#   bench/run.sh [--data DIR | --generated] [--min-time SECONDS] [--repetitions N]
#                [--filter REGEX] [--jobs N] [--note TEXT]
#
#   --data DIR       read twitter.json, citm_catalog.json and canada.json from DIR
#                    (default: $ZXV_BENCH_DATA, else <repository>/../shared/bench-data,
#                    else generated documents of the same character)
#   --generated      use generated documents whatever exists
#   --min-time S     Google Benchmark's minimum time per repetition (default 0.05)
#   --repetitions N  repetitions per benchmark; the tables show the fastest (default 10)
#   --filter REGEX   run only the benchmarks whose Workload/Case/Contender name matches
#   --jobs N         parallel build jobs (default: the number of processors)
#   --note TEXT      a line about the machine for RESULTS.md (e.g. that it was shared)
#
# The peers come from Debian packages; missing ones are installed with apt-get
# (as root, or through sudo).  Exit status: 0 when every benchmark verified its
# result, 1 when one failed (RESULTS.md says which), 2 on wrong usage.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

min_time=0.05
repetitions=10
filter=""
jobs="$(nproc)"
note=""
usage() { sed -n '2,21p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//' >&2; exit 2; }
while [ $# -gt 0 ]; do
  case "$1" in
    --data) [ $# -ge 2 ] || usage; export ZXV_BENCH_DATA="$2"; shift 2 ;;
    --generated) export ZXV_BENCH_DATA=generate; shift ;;
    --min-time) [ $# -ge 2 ] || usage; min_time="$2"; shift 2 ;;
    --repetitions) [ $# -ge 2 ] || usage; repetitions="$2"; shift 2 ;;
    --filter) [ $# -ge 2 ] || usage; filter="$2"; shift 2 ;;
    --jobs) [ $# -ge 2 ] || usage; jobs="$2"; shift 2 ;;
    --note) [ $# -ge 2 ] || usage; note="$2"; shift 2 ;;
    -h|--help) usage ;;
    *) echo "run.sh: unknown argument: $1" >&2; usage ;;
  esac
done

# ---- packages ----------------------------------------------------------------
bash scripts/install-deps.sh python3 libbenchmark-dev \
  rapidjson-dev libsimdjson-dev nlohmann-json3-dev libflatbuffers-dev \
  libglib2.0-dev libjson-glib-dev libbson-dev libmsgpack-cxx-dev

# ---- build -------------------------------------------------------------------
build=build-bench
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DZXV_BUILD_BENCH=ON \
  -DZXV_BUILD_TESTS=OFF -DZXV_BUILD_EXAMPLES=OFF -DZXV_BUILD_TOOLS=OFF
cmake --build "$build" --target zxv_bench -j"$jobs"

# ---- run ---------------------------------------------------------------------
results="$build/zxv_bench.json"
# The repetitions of all benchmarks run in one random interleaved order, so
# that a burst of load on a shared machine falls on every contender alike
# instead of on whichever ran during it.
args=(
  --benchmark_min_time="$min_time"
  --benchmark_repetitions="$repetitions"
  --benchmark_enable_random_interleaving=true
  --benchmark_display_aggregates_only=true
  --benchmark_out="$results"
  --benchmark_out_format=json
)
[ -n "$filter" ] && args+=(--benchmark_filter="$filter")
"$build/bench/zxv_bench" "${args[@]}"

command="bench/run.sh --min-time $min_time --repetitions $repetitions"
[ -n "$filter" ] && command+=" --filter '$filter'"
[ "${ZXV_BENCH_DATA:-}" = generate ] && command+=" --generated"
[ -n "${ZXV_BENCH_DATA:-}" ] && [ "${ZXV_BENCH_DATA}" != generate ] && command+=" --data ${ZXV_BENCH_DATA}"
status=0
python3 bench/results_to_md.py "$results" bench/RESULTS.md --command "$command" --machine-note "$note" || status=$?
if [ "$status" -ne 0 ] && [ "$status" -ne 1 ]; then
  exit "$status"
fi
echo "run.sh: wrote bench/RESULTS.md"
exit "$status"
