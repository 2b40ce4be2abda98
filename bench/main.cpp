// zxv_bench: every workload of the suite, all contenders in one process run.
//
//   zxv_bench [Google Benchmark flags]
//
// The documents come from ZXV_BENCH_DATA (a folder, or "generate"), else
// from <repository>/../shared/bench-data, else they are generated; see
// bench_data.h.  bench/run.sh runs this and turns its JSON output into
// bench/RESULTS.md.
#include <benchmark/benchmark.h>
#include <bson/bson.h>
#include <flatbuffers/base.h>
#include <glib.h>
#include <json-glib/json-glib.h>
#include <msgpack/version.hpp>
#include <nlohmann/json.hpp>
#include <rapidjson/rapidjson.h>
#include <simdjson.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "bench_common.h"
#include "bench_data.h"

namespace {

#define ZXV_BENCH_TEXT(x) #x
#define ZXV_BENCH_EXPANDED_TEXT(x) ZXV_BENCH_TEXT(x)

std::string CpuModel() {
  std::ifstream in("/proc/cpuinfo");
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("model name", 0) == 0) {
      const std::size_t colon = line.find(':');
      if (colon != std::string::npos) return line.substr(line.find_first_not_of(' ', colon + 1));
    }
  }
  return "unknown";
}

void DescribeRun(const zxvbench::DataSource& source, const std::vector<zxvbench::Document>& documents) {
  using benchmark::AddCustomContext;
  AddCustomContext("cpu_model", CpuModel());
  AddCustomContext("compiler", "g++ " __VERSION__);
  AddCustomContext("zxv_build_type", ZXV_BENCH_BUILD_TYPE);
  AddCustomContext("zxv_cxx_flags", ZXV_BENCH_CXX_FLAGS);
  bool generated = false;
  for (const zxvbench::Document& document : documents) generated = generated || document.generated;
  AddCustomContext("data", generated ? "generated (" + (source.folder.empty() ? std::string("asked for")
                                                                               : "no folder " + source.folder) +
                                           ")"
                                     : source.folder);
  std::string sizes;
  for (const zxvbench::Document& document : documents) {
    sizes += (sizes.empty() ? "" : ", ") + document.name + " " + std::to_string(document.utf8.size()) +
             " bytes, " + std::to_string(document.values) + " values";
  }
  AddCustomContext("documents", sizes);
  AddCustomContext("peers",
                   "RapidJSON " RAPIDJSON_VERSION_STRING ", simdjson " ZXV_BENCH_EXPANDED_TEXT(SIMDJSON_VERSION)
                   ", nlohmann/json " +
                       std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
                       std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." +
                       std::to_string(NLOHMANN_JSON_VERSION_PATCH) + ", FlatBuffers " +
                       std::to_string(FLATBUFFERS_VERSION_MAJOR) + "." +
                       std::to_string(FLATBUFFERS_VERSION_MINOR) + "." +
                       std::to_string(FLATBUFFERS_VERSION_REVISION) + ", GLib " +
                       std::to_string(glib_major_version) + "." + std::to_string(glib_minor_version) + "." +
                       std::to_string(glib_micro_version) + ", json-glib " JSON_VERSION_S
                       ", libbson " BSON_VERSION_S ", msgpack-c++ " +
                       std::string(msgpack_version()));
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  const zxvbench::DataSource source = zxvbench::ChooseDataSource();
  std::string error;
  const std::vector<zxvbench::Document> documents = zxvbench::LoadDocuments(source, &error);
  if (documents.empty()) {
    std::fprintf(stderr, "zxv_bench: %s\n", error.c_str());
    return 2;
  }
  DescribeRun(source, documents);

  zxvbench::RegisterJsonBenchmarks(documents);
  zxvbench::RegisterBuildBenchmarks();
  zxvbench::RegisterCheckBenchmarks(documents);
  zxvbench::RegisterRelocateBenchmarks(documents);
  zxvbench::RegisterLookupBenchmarks();
  zxvbench::RegisterTreeBenchmarks(documents);

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
