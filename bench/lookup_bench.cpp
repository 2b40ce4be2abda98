// Workload 5: find a child by name among K children (Lookup) and visit all
// of them (Walk), K = 8, 64, 1,024.
//
// The object is the same JSON text for everyone ({"field0": 0, ...}), read
// into each contender's form before timing.  One Lookup operation finds one
// name; the names are asked in a fixed shuffled order that visits every
// member once per round, so the average position is the middle.  One Walk
// operation visits every child and adds up the integer values.
#include <json-glib/json-glib.h>

#include <cstring>
#include <memory>

#include "bench_common.h"
#include "peer_support.h"
#include "zxv_support.h"

namespace zxvbench {
namespace {

using ZxVariantHelper::ZxvView;
using ZxVariantHelper::ZxvZView;

constexpr const char* kLookup = "Lookup";
constexpr const char* kWalk = "Walk";

// The keyed object in every contender's form.
struct Keyed {
  KeyedObject object;
  std::shared_ptr<ZxVariant> record;
  std::shared_ptr<ZxVariant> zero;
  ZxVariantHelper::NodeRef tree;
  std::unique_ptr<RapidDocument16> rapid;
  std::unique_ptr<SimdDocument> simd;
  nlohmann::json json;
  std::vector<std::uint8_t> flex;
  GVariantPtr gvariant;
  BsonPtr bson;
  std::string msgpackBytes;
  msgpack::object_handle msgpack;
};

std::shared_ptr<const Keyed> MakeKeyed(std::size_t count) {
  auto k = std::make_shared<Keyed>();
  k->object = MakeKeyedObject(count);
  const std::string& text = k->object.json;
  k->record = ShareRecord(RecordFromJson(Utf8ToUtf16(text)));
  k->zero = ShareRecord(ZxVariantHelper::NewCopy(k->record.get(), nullptr, false, true));
  k->tree = ZxVariantHelper::NodeRef(k->record.get());
  k->rapid = RapidFromJson(Utf8ToUtf16(text));
  k->simd = SimdFromJson(text);
  k->json = nlohmann::json::parse(text);
  k->flex = FlexFromJson(text);
  k->gvariant = GVariantFromJson(text);
  k->bson = BsonFromJson(text);
  k->msgpackBytes = MsgpackFromJson(text);
  k->msgpack = msgpack::unpack(k->msgpackBytes.data(), k->msgpackBytes.size());
  return k;
}

// ---- one lookup per contender ----------------------------------------------
// Each answers the member's integer value, -1 when the name is missing.

long long Found(long long value) { return value; }

long long MsgpackValue(const msgpack::object& value) {
  return value.type == msgpack::type::POSITIVE_INTEGER ? static_cast<long long>(value.via.u64) : value.via.i64;
}

const msgpack::object* MsgpackFind(const msgpack::object& map, const std::string& name) {
  for (std::uint32_t i = 0; i < map.via.map.size; ++i) {
    const msgpack::object& key = map.via.map.ptr[i].key;
    if (key.type == msgpack::type::STR && key.via.str.size == name.size() &&
        std::memcmp(key.via.str.ptr, name.data(), name.size()) == 0) {
      return &map.via.map.ptr[i].val;
    }
  }
  return nullptr;
}

// A lookup benchmark: `find(i)` looks up member askOrder[i] and answers its value.
template <typename Find>
void AddLookup(const std::string& kase, const char* contender, const char* label,
               std::shared_ptr<const Keyed> k, Find find) {
  Add(kLookup, kase, contender, [k, find, label](benchmark::State& state) {
    state.SetLabel(label);
    const std::vector<std::size_t>& order = k->object.askOrder;
    bool ok = true;
    for (std::size_t i = 0; i < order.size(); ++i) ok = ok && find(*k, order[i]) == static_cast<long long>(order[i]);
    if (!Verified(state, ok, "every name finds its value")) return;
    std::size_t next = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(find(*k, order[next]));
      if (++next == order.size()) next = 0;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
  });
}

template <typename Walk>
void AddWalk(const std::string& kase, const char* contender, const char* label, std::shared_ptr<const Keyed> k,
             Walk walk) {
  Add(kWalk, kase, contender, [k, walk, label](benchmark::State& state) {
    state.SetLabel(label);
    if (!Verified(state, walk(*k) == k->object.valueSum, "the values add up")) return;
    for (auto _ : state) benchmark::DoNotOptimize(walk(*k));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * k->object.names8.size()));
  });
}

void RegisterCount(std::size_t count) {
  std::shared_ptr<const Keyed> k = MakeKeyed(count);
  const std::string kase = "K=" + std::to_string(count);

  // ---- lookup ----
  AddLookup(kase, "ZxVariant", "ZxvView[name], pointer form", k, [](const Keyed& k, std::size_t i) {
    const ZxvView found = ZxvView(k.record.get())[k.object.names16[i].c_str()];
    return found.IsInt() ? found.Int() : -1LL;
  });
  AddLookup(kase, "ZxVariant.ZView", "ZxvZView[name], zero-based form", k, [](const Keyed& k, std::size_t i) {
    const ZxvZView found = ZxvZView(ZxVariantHelper::AsZeroBased(k.zero.get()))[k.object.names16[i].c_str()];
    return found.IsInt() ? found.Int() : -1LL;
  });
  AddLookup(kase, "ZxVariant.NodeRef", "node tree NodeRef::Lookup (name index)", k, [](const Keyed& k, std::size_t i) {
    const ZxVariantHelper::NodeRef found = k.tree.Lookup(k.object.names16[i].c_str());
    return found.IsInt() ? found.Int() : -1LL;
  });
  AddLookup(kase, "RapidJSON", "FindMember, UTF-16 names", k, [](const Keyed& k, std::size_t i) {
    const auto found = k.rapid->FindMember(k.object.names16[i].c_str());
    return found != k.rapid->MemberEnd() ? found->value.GetInt64() : -1LL;
  });
  AddLookup(kase, "simdjson", "object::at_key", k, [](const Keyed& k, std::size_t i) {
    std::int64_t value = -1;
    if (k.simd->root.at_key(k.object.names8[i]).get(value) != simdjson::SUCCESS) return -1LL;
    return Found(value);
  });
  AddLookup(kase, "nlohmann", "json::find (std::map)", k, [](const Keyed& k, std::size_t i) {
    const auto found = k.json.find(k.object.names8[i]);
    return found != k.json.end() ? found->get<long long>() : -1LL;
  });
  AddLookup(kase, "FlexBuffers", "Map[key] (binary search of sorted keys)", k, [](const Keyed& k, std::size_t i) {
    const flexbuffers::Reference found = flexbuffers::GetRoot(k.flex).AsMap()[k.object.names8[i].c_str()];
    return found.IsNull() ? -1LL : found.AsInt64();
  });
  AddLookup(kase, "GVariant", "g_variant_lookup_value on a{sv}", k, [](const Keyed& k, std::size_t i) {
    GVariant* found = g_variant_lookup_value(k.gvariant.get(), k.object.names8[i].c_str(), nullptr);
    if (found == nullptr) return -1LL;
    const long long value = g_variant_get_int64(found);
    g_variant_unref(found);
    return Found(value);
  });
  AddLookup(kase, "libbson", "bson_iter_init_find", k, [](const Keyed& k, std::size_t i) {
    bson_iter_t iter;
    if (!bson_iter_init_find(&iter, k.bson.get(), k.object.names8[i].c_str())) return -1LL;
    return Found(bson_iter_as_int64(&iter));
  });
  AddLookup(kase, "msgpack", "no lookup in msgpack-c++: a scan of the unpacked map", k,
            [](const Keyed& k, std::size_t i) {
              const msgpack::object* found = MsgpackFind(k.msgpack.get(), k.object.names8[i]);
              return found != nullptr ? MsgpackValue(*found) : -1LL;
            });

  // ---- walk ----
  AddWalk(kase, "ZxVariant", "ZxvView First/Next, pointer form", k, [](const Keyed& k) {
    long long sum = 0;
    for (ZxvView child = ZxvView(k.record.get()).First(); !child.IsTheNull(); child = child.Next()) {
      sum += child.Int();
    }
    return sum;
  });
  AddWalk(kase, "ZxVariant.Entries", "ZxvView::List() entry array, pointer form", k, [](const Keyed& k) {
    long long sum = 0;
    const ZxVariant::List& list = ZxvView(k.record.get()).List();
    for (std::uint32_t i = 0; i < list.count; ++i) {
      const ZxVariant* child;
      std::memcpy(&child, reinterpret_cast<const char*>(list.items) + 8ull * i, sizeof child);  // entries may be unaligned
      sum += ZxvView(child).Int();
    }
    return sum;
  });
  AddWalk(kase, "ZxVariant.ZView", "ZxvZView First/Next, zero-based form", k, [](const Keyed& k) {
    long long sum = 0;
    for (ZxvZView child = ZxvZView(ZxVariantHelper::AsZeroBased(k.zero.get())).First(); !child.IsTheNull();
         child = child.Next()) {
      sum += child.Int();
    }
    return sum;
  });
  AddWalk(kase, "ZxVariant.NodeRef", "node tree NodeRef::Lookup(index)", k, [](const Keyed& k) {
    long long sum = 0;
    const int children = k.tree.Count();
    for (int i = 0; i < children; ++i) sum += k.tree.Lookup(i).Int();
    return sum;
  });
  AddWalk(kase, "RapidJSON", "MemberBegin..MemberEnd", k, [](const Keyed& k) {
    long long sum = 0;
    for (auto m = k.rapid->MemberBegin(); m != k.rapid->MemberEnd(); ++m) sum += m->value.GetInt64();
    return sum;
  });
  AddWalk(kase, "simdjson", "object iteration", k, [](const Keyed& k) {
    long long sum = 0;
    for (simdjson::dom::key_value_pair field : simdjson::dom::object(k.simd->root)) {
      sum += static_cast<std::int64_t>(field.value);
    }
    return sum;
  });
  AddWalk(kase, "nlohmann", "iteration of the object", k, [](const Keyed& k) {
    long long sum = 0;
    for (const nlohmann::json& value : k.json) sum += value.get<long long>();
    return sum;
  });
  AddWalk(kase, "FlexBuffers", "Map::Values()[i]", k, [](const Keyed& k) {
    long long sum = 0;
    const flexbuffers::Vector values = flexbuffers::GetRoot(k.flex).AsMap().Values();
    for (std::size_t i = 0; i < values.size(); ++i) sum += values[i].AsInt64();
    return sum;
  });
  AddWalk(kase, "GVariant", "GVariantIter, g_variant_iter_loop \"{&sv}\"", k, [](const Keyed& k) {
    long long sum = 0;
    GVariantIter iter;
    g_variant_iter_init(&iter, k.gvariant.get());
    const gchar* name;
    GVariant* value;
    while (g_variant_iter_loop(&iter, "{&sv}", &name, &value)) sum += g_variant_get_int64(value);
    return sum;
  });
  AddWalk(kase, "libbson", "bson_iter_next", k, [](const Keyed& k) {
    long long sum = 0;
    bson_iter_t iter;
    if (bson_iter_init(&iter, k.bson.get())) {
      while (bson_iter_next(&iter)) sum += bson_iter_as_int64(&iter);
    }
    return sum;
  });
  AddWalk(kase, "msgpack", "the unpacked map's key/value array", k, [](const Keyed& k) {
    long long sum = 0;
    const msgpack::object& map = k.msgpack.get();
    for (std::uint32_t i = 0; i < map.via.map.size; ++i) sum += MsgpackValue(map.via.map.ptr[i].val);
    return sum;
  });
}

}  // namespace

void RegisterLookupBenchmarks() {
  for (std::size_t count : {std::size_t{8}, std::size_t{64}, std::size_t{1024}}) RegisterCount(count);
}

}  // namespace zxvbench
