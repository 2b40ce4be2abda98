// Workload 3: check an untrusted block before trusting it.
//
// ZxVariant: ValidateZero on the zero-based form (what a receiver gets) and
// Validate on the pointer form.  Peers: their verifier of their own binary
// form of the same data: FlexBuffers VerifyBuffer, GVariant's normal-form
// check of untrusted data, libbson bson_validate, and for msgpack-c++,
// which has no verifier, a full unpack.  Bytes per second count each
// contender's own block.
#include <memory>

#include "bench_common.h"
#include "peer_support.h"
#include "zxv_support.h"

namespace zxvbench {
namespace {

constexpr const char* kCheck = "Check";

// One data set in every contender's binary form.
struct Blocks {
  std::shared_ptr<ZxVariant> record;  // pointer form
  std::shared_ptr<ZxVariant> zero;    // zero-based form
  std::vector<std::uint8_t> flex;
  std::string gvariantType;
  std::shared_ptr<void> gvariantData;  // g_malloc'd, so aligned as GVariant wants
  std::size_t gvariantSize = 0;
  std::vector<std::uint8_t> bson;
  std::string msgpack;
  std::size_t values = 0;
};

void TakeGVariant(Blocks& blocks, GVariant* value) {
  blocks.gvariantType = g_variant_get_type_string(value);
  blocks.gvariantSize = g_variant_get_size(value);
  blocks.gvariantData = std::shared_ptr<void>(g_memdup2(g_variant_get_data(value), blocks.gvariantSize), g_free);
}

void TakeBson(Blocks& blocks, const bson_t* document) {
  const std::uint8_t* data = bson_get_data(document);
  blocks.bson.assign(data, data + document->len);
}

void Rates(benchmark::State& state, std::size_t bytes, std::size_t values) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * values));
  state.counters["block_bytes"] = static_cast<double>(bytes);
}

void RegisterCase(const std::string& kase, std::shared_ptr<const Blocks> b) {
  Add(kCheck, kase, "ZxVariant.ValidateZero", [b](benchmark::State& state) {
    state.SetLabel("zero-based form");
    const ZxVariant* zero = b->zero.get();
    if (!Verified(state, zero != nullptr && ZxVariantHelper::ValidateZero(zero), "the block passes")) return;
    for (auto _ : state) benchmark::DoNotOptimize(ZxVariantHelper::ValidateZero(zero));
    Rates(state, zero->size, b->values);
  });

  Add(kCheck, kase, "ZxVariant.Validate", [b](benchmark::State& state) {
    state.SetLabel("pointer form");
    const ZxVariant* record = b->record.get();
    if (!Verified(state, record != nullptr && ZxVariantHelper::Validate(record), "the block passes")) return;
    for (auto _ : state) benchmark::DoNotOptimize(ZxVariantHelper::Validate(record));
    Rates(state, record->size, b->values);
  });

  Add(kCheck, kase, "FlexBuffers", [b](benchmark::State& state) {
    state.SetLabel("flexbuffers::VerifyBuffer");
    const bool ok = !b->flex.empty() && flexbuffers::VerifyBuffer(b->flex.data(), b->flex.size()) &&
                    CountValues(flexbuffers::GetRoot(b->flex)) == b->values;
    if (!Verified(state, ok, "the buffer passes")) return;
    for (auto _ : state) benchmark::DoNotOptimize(flexbuffers::VerifyBuffer(b->flex.data(), b->flex.size()));
    Rates(state, b->flex.size(), b->values);
  });

  Add(kCheck, kase, "GVariant", [b](benchmark::State& state) {
    state.SetLabel("g_variant_new_from_data (untrusted) + g_variant_is_normal_form");
    const GVariantType* type = G_VARIANT_TYPE(b->gvariantType.c_str());
    auto check = [&] {
      GVariant* value = g_variant_ref_sink(
          g_variant_new_from_data(type, b->gvariantData.get(), b->gvariantSize, FALSE, nullptr, nullptr));
      const bool normal = g_variant_is_normal_form(value);
      g_variant_unref(value);
      return normal;
    };
    if (!Verified(state, b->gvariantData != nullptr && check(), "the data is in normal form")) return;
    for (auto _ : state) benchmark::DoNotOptimize(check());
    Rates(state, b->gvariantSize, b->values);
  });

  Add(kCheck, kase, "libbson", [b](benchmark::State& state) {
    state.SetLabel("bson_validate (BSON_VALIDATE_NONE: structure only, as ZxVariant)");
    auto check = [&] {
      bson_t document;
      if (!bson_init_static(&document, b->bson.data(), b->bson.size())) return false;
      std::size_t offset = 0;
      return bson_validate(&document, BSON_VALIDATE_NONE, &offset);
    };
    if (!Verified(state, !b->bson.empty() && check(), "the document passes")) return;
    for (auto _ : state) benchmark::DoNotOptimize(check());
    Rates(state, b->bson.size(), b->values);
  });

  Add(kCheck, kase, "msgpack", [b](benchmark::State& state) {
    state.SetLabel("no verifier: msgpack::unpack of the whole buffer stands in");
    {
      const msgpack::object_handle unpacked = msgpack::unpack(b->msgpack.data(), b->msgpack.size());
      if (!Verified(state, CountValues(unpacked.get()) == b->values, "the buffer unpacks whole")) return;
    }
    for (auto _ : state) {
      msgpack::object_handle unpacked = msgpack::unpack(b->msgpack.data(), b->msgpack.size());
      benchmark::DoNotOptimize(unpacked.get().type);
    }
    Rates(state, b->msgpack.size(), b->values);
  });

  for (const char* textOnly : {"RapidJSON", "simdjson", "nlohmann"}) {
    NotApplicable(kCheck, kase, textOnly, "no binary form to check (its parser checks text while reading)");
  }
}

std::shared_ptr<const Blocks> DocumentBlocks(const Document& doc) {
  auto b = std::make_shared<Blocks>();
  b->values = doc.values;
  b->record = ShareRecord(RecordFromJson(doc.utf16));
  b->zero = ShareRecord(b->record ? ZxVariantHelper::NewCopy(b->record.get(), nullptr, false, true) : nullptr);
  b->flex = FlexFromJson(doc.utf8);
  if (GVariantPtr value = GVariantFromJson(doc.utf8)) TakeGVariant(*b, value.get());
  if (BsonPtr document = BsonFromJson(doc.utf8)) TakeBson(*b, document.get());
  b->msgpack = MsgpackFromJson(doc.utf8);
  return b;
}

std::shared_ptr<const Blocks> MixedBlocks(const MixedTree& tree) {
  auto b = std::make_shared<Blocks>();
  b->values = tree.nodes;
  b->record = ShareRecord(BuildMixedWithBuilders(tree, true));
  b->zero = ShareRecord(ZxVariantHelper::NewCopy(b->record.get(), nullptr, false, true));
  flexbuffers::Builder builder;
  FlexMixed(builder, tree, true);
  b->flex = builder.GetBuffer();
  TakeGVariant(*b, GVariantMixed(tree, true).get());
  TakeBson(*b, BsonMixed(tree, true).get());
  msgpack::sbuffer packed;
  MsgpackMixed(packed, tree, true);
  b->msgpack.assign(packed.data(), packed.size());
  return b;
}

}  // namespace

void RegisterCheckBenchmarks(const std::vector<Document>& documents) {
  for (const Document& doc : documents) RegisterCase(doc.name, DocumentBlocks(doc));
  const MixedTree tree = MakeMixedTree(10000);
  RegisterCase("N=10000 named", MixedBlocks(tree));
}

}  // namespace zxvbench
