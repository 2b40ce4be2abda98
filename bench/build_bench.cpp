// Workload 2: build a record of N mixed nodes (N = 100, 10,000, 1,000,000).
//
// "named": every group and leaf has a name; ZxVariant uses its builder
// objects (ZxvList, ZxvInt, ...), the peers build objects/maps.
// "unnamed": no names; ZxVariant lays out an ItemSpec table with Build, the
// peers build arrays/vectors.  Every contender starts from the same
// MixedTree values and ends with its finished form, then frees it.
#include <memory>

#include "bench_common.h"
#include "peer_support.h"
#include "zxv_support.h"

namespace zxvbench {
namespace {

constexpr const char* kBuild = "Build";

void Rates(benchmark::State& state, const MixedTree& tree) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * tree.nodes));
}

// The finished block's size per operation, for the bytes-per-second column.
void BlockRates(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void RegisterShape(const std::shared_ptr<const MixedTree>& treePtr, bool named) {
  const MixedTree& tree = *treePtr;
  const std::string kase = "N=" + std::to_string(tree.nodes) + (named ? " named" : " unnamed");

  if (!named) {
    Add(kBuild, kase, "ZxVariant.ItemSpec", [treePtr](benchmark::State& state) {
      state.SetLabel("Build over an ItemSpec table made before timing (a static description)");
      MixedItems items;
      items.Fill(*treePtr);
      ZxVariant* check = ZxVariantHelper::Build(items.Root()).BuildNewZxVariant();
      ZxVariant* viaBuilders = BuildMixedWithBuilders(*treePtr, false);
      const bool ok = check != nullptr && ZxVariantHelper::Validate(check) &&
                      CountNodes(check) == treePtr->nodes && ZxVariantHelper::IsEqual(check, viaBuilders);
      const std::size_t bytes = check ? check->size : 0;
      ZxVariantHelper::Delete(check);
      ZxVariantHelper::Delete(viaBuilders);
      if (!Verified(state, ok, "N valid nodes, equal to the builders' record")) return;
      for (auto _ : state) {
        ZxVariant* record = ZxVariantHelper::Build(items.Root()).BuildNewZxVariant();
        benchmark::DoNotOptimize(record);
        ZxVariantHelper::Delete(record);
      }
      Rates(state, *treePtr);
      BlockRates(state, bytes);
    });
    Add(kBuild, kase, "ZxVariant.ItemSpec+table", [treePtr](benchmark::State& state) {
      state.SetLabel("the ItemSpec table filled inside the timing, then Build");
      MixedItems items;
      items.Fill(*treePtr);
      ZxVariant* check = ZxVariantHelper::Build(items.Root()).BuildNewZxVariant();
      const bool ok = check != nullptr && CountNodes(check) == treePtr->nodes;
      const std::size_t bytes = check ? check->size : 0;
      ZxVariantHelper::Delete(check);
      if (!Verified(state, ok, "N nodes")) return;
      for (auto _ : state) {
        MixedItems table;
        table.Fill(*treePtr);
        ZxVariant* record = ZxVariantHelper::Build(table.Root()).BuildNewZxVariant();
        benchmark::DoNotOptimize(record);
        ZxVariantHelper::Delete(record);
      }
      Rates(state, *treePtr);
      BlockRates(state, bytes);
    });
  }

  Add(kBuild, kase, "ZxVariant.builders", [treePtr, named](benchmark::State& state) {
    state.SetLabel("builder objects, BuildNewZxVariant, builders deleted");
    ZxVariant* check = BuildMixedWithBuilders(*treePtr, named);
    long long id = 0;
    bool ok = check != nullptr && ZxVariantHelper::Validate(check) && CountNodes(check) == treePtr->nodes;
    if (ok && named && treePtr->groups.size() > 1) {
      const std::vector<std::string> path = MixedEditPath(*treePtr);
      ok = IntAt(check, path, &id) && id == treePtr->groups[(treePtr->groups.size() - 1) / 2].id;
    }
    const std::size_t bytes = check ? check->size : 0;
    ZxVariantHelper::Delete(check);
    if (!Verified(state, ok, "N valid nodes")) return;
    for (auto _ : state) {
      ZxVariant* record = BuildMixedWithBuilders(*treePtr, named);
      benchmark::DoNotOptimize(record);
      ZxVariantHelper::Delete(record);
    }
    Rates(state, *treePtr);
    BlockRates(state, bytes);
  });

  Add(kBuild, kase, "RapidJSON", [treePtr, named](benchmark::State& state) {
    state.SetLabel("UTF-16 DOM in memory (not one block)");
    {
      RapidDocument16 check;
      RapidMixed(check, *treePtr, named);
      if (!Verified(state, CountValues(check) == treePtr->nodes, "N values")) return;
    }
    for (auto _ : state) {
      RapidDocument16 document;
      RapidMixed(document, *treePtr, named);
      benchmark::DoNotOptimize(document.IsObject());
    }
    Rates(state, *treePtr);
  });

  Add(kBuild, kase, "nlohmann", [treePtr, named](benchmark::State& state) {
    state.SetLabel("json DOM in memory (not one block)");
    if (!Verified(state, CountValues(NlohmannMixed(*treePtr, named)) == treePtr->nodes, "N values")) return;
    for (auto _ : state) {
      nlohmann::json built = NlohmannMixed(*treePtr, named);
      benchmark::DoNotOptimize(built.is_object());
    }
    Rates(state, *treePtr);
  });

  Add(kBuild, kase, "FlexBuffers", [treePtr, named](benchmark::State& state) {
    state.SetLabel(named ? "Builder maps, Finish" : "Builder untyped vectors, Finish");
    std::size_t bytes = 0;
    {
      flexbuffers::Builder check;
      FlexMixed(check, *treePtr, named);
      bytes = check.GetSize();
      if (!Verified(state, CountValues(flexbuffers::GetRoot(check.GetBuffer())) == treePtr->nodes, "N values")) {
        return;
      }
    }
    for (auto _ : state) {
      flexbuffers::Builder builder;
      FlexMixed(builder, *treePtr, named);
      benchmark::DoNotOptimize(builder.GetSize());
    }
    Rates(state, *treePtr);
    BlockRates(state, bytes);
  });

  Add(kBuild, kase, "GVariant", [treePtr, named](benchmark::State& state) {
    state.SetLabel(named ? "GVariantBuilder a{sv}, serialised" : "GVariantBuilder av, serialised");
    std::size_t bytes = 0;
    {
      const GVariantPtr check = GVariantMixed(*treePtr, named);
      bytes = g_variant_get_size(check.get());
      if (!Verified(state, CountValues(check.get()) == treePtr->nodes, "N values")) return;
    }
    for (auto _ : state) {
      GVariantPtr built = GVariantMixed(*treePtr, named);
      benchmark::DoNotOptimize(built.get());
    }
    Rates(state, *treePtr);
    BlockRates(state, bytes);
  });

  Add(kBuild, kase, "libbson", [treePtr, named](benchmark::State& state) {
    state.SetLabel(named ? "bson_append_* into documents" : "bson_append_* into arrays");
    std::size_t bytes = 0;
    {
      const BsonPtr check = BsonMixed(*treePtr, named);
      bytes = check.get()->len;
      if (!Verified(state, CountValues(check.get()) == treePtr->nodes, "N values")) return;
    }
    for (auto _ : state) {
      BsonPtr built = BsonMixed(*treePtr, named);
      benchmark::DoNotOptimize(built.get());
    }
    Rates(state, *treePtr);
    BlockRates(state, bytes);
  });

  Add(kBuild, kase, "msgpack", [treePtr, named](benchmark::State& state) {
    state.SetLabel(named ? "packer maps into an sbuffer" : "packer arrays into an sbuffer");
    std::size_t bytes = 0;
    {
      msgpack::sbuffer check;
      MsgpackMixed(check, *treePtr, named);
      bytes = check.size();
      const msgpack::object_handle unpacked = msgpack::unpack(check.data(), check.size());
      if (!Verified(state, CountValues(unpacked.get()) == treePtr->nodes, "N values")) return;
    }
    for (auto _ : state) {
      msgpack::sbuffer buffer;
      MsgpackMixed(buffer, *treePtr, named);
      benchmark::DoNotOptimize(buffer.data());
    }
    Rates(state, *treePtr);
    BlockRates(state, bytes);
  });

  NotApplicable(kBuild, kase, "simdjson", "simdjson's DOM is read-only: it has no builder");
}

}  // namespace

void RegisterBuildBenchmarks() {
  for (std::size_t nodes : {std::size_t{100}, std::size_t{10000}, std::size_t{1000000}}) {
    auto tree = std::make_shared<const MixedTree>(MakeMixedTree(nodes));
    RegisterShape(tree, false);
    RegisterShape(tree, true);
  }
}

}  // namespace zxvbench
