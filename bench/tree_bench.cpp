// Workload 6: take a received record into an editable form, change one
// integer leaf, and make a record of the result again.
//
// ZxVariant seeds a node tree (NodeRef) from the record, assigns the leaf
// and exports a new block.  Each peer does what its users do for the same
// job: nlohmann reads its MessagePack bytes into a json tree, assigns and
// writes MessagePack again; msgpack-c++ unpacks, assigns the object and
// packs; the immutable formats are copied with the one leaf replaced --
// FlexBuffers replays the whole buffer into a Builder, GVariant rebuilds the
// dictionaries on the path and re-serialises (untouched children are
// shared), libbson rebuilds the documents on the path and copies the other
// members with bson_append_iter.
#include <memory>

#include "bench_common.h"
#include "peer_support.h"
#include "zxv_support.h"

namespace zxvbench {
namespace {

constexpr const char* kTree = "Tree";

// One data set in every contender's form, the leaf's path and its new value.
struct Edit {
  std::shared_ptr<ZxVariant> record;
  std::size_t values = 0;
  std::vector<std::string> path;
  std::vector<std::u16string> path16;
  long long original = 0;
  long long replacement = 0;
  std::string msgpack;
  std::vector<std::uint8_t> flex;
  GVariantPtr gvariant;
  std::vector<std::uint8_t> bson;
};

// ---- ZxVariant ----------------------------------------------------------------

template <typename NodeRefT>
ZxVariant* EditWithNodeTree(const ZxVariant* record, const std::vector<std::u16string>& path, long long value) {
  NodeRefT tree(record);
  NodeRefT leaf = tree;
  for (const std::u16string& name : path) leaf = leaf[name.c_str()];
  leaf = ZxVariantHelper::Value(static_cast<int>(value));
  return tree.Export(nullptr);
}

// ---- peers --------------------------------------------------------------------

// Replays `value` into `builder`, with the leaf at path[depth..] replaced.
bool FlexReplay(flexbuffers::Reference value, flexbuffers::Builder& builder, const Edit& edit, std::size_t depth,
                bool onPath) {
  if (onPath && depth == edit.path.size()) {
    builder.Int(edit.replacement);
    return true;
  }
  if (value.IsMap()) {
    const flexbuffers::Map map = value.AsMap();
    const flexbuffers::TypedVector keys = map.Keys();
    const flexbuffers::Vector values = map.Values();
    const std::size_t start = builder.StartMap();
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const char* name = keys[i].AsKey();
      builder.Key(name);
      const bool next = onPath && depth < edit.path.size() && edit.path[depth] == name;
      if (!FlexReplay(values[i], builder, edit, depth + 1, next)) return false;
    }
    builder.EndMap(start);
  } else if (value.IsUntypedVector()) {
    const flexbuffers::Vector elements = value.AsVector();
    const std::size_t start = builder.StartVector();
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (!FlexReplay(elements[i], builder, edit, depth + 1, false)) return false;
    }
    builder.EndVector(start, false, false);
  } else if (value.IsNull()) {
    builder.Null();
  } else if (value.IsBool()) {
    builder.Bool(value.AsBool());
  } else if (value.IsInt()) {
    builder.Int(value.AsInt64());
  } else if (value.IsUInt()) {
    builder.UInt(value.AsUInt64());
  } else if (value.IsFloat()) {
    builder.Double(value.AsDouble());
  } else if (value.IsString()) {
    builder.String(value.AsString());
  } else {
    return false;  // no other type occurs in these data sets
  }
  return true;
}

bool FlexEdit(const Edit& edit, flexbuffers::Builder& builder) {
  if (!FlexReplay(flexbuffers::GetRoot(edit.flex), builder, edit, 0, true)) return false;
  builder.Finish();
  return true;
}

// A new dictionary for `value` (a{sv}) with the leaf at path[depth..]
// replaced; floating.  Members off the path are the same (shared) values.
GVariant* GVariantReplace(GVariant* value, const Edit& edit, std::size_t depth) {
  if (depth == edit.path.size()) {
    return g_variant_is_of_type(value, G_VARIANT_TYPE_INT32)
               ? g_variant_new_int32(static_cast<gint32>(edit.replacement))
               : g_variant_new_int64(edit.replacement);
  }
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  GVariantIter iter;
  g_variant_iter_init(&iter, value);
  while (GVariant* entry = g_variant_iter_next_value(&iter)) {
    const gchar* name = nullptr;
    g_variant_get_child(entry, 0, "&s", &name);
    if (edit.path[depth] == name) {
      GVariant* boxed = g_variant_get_child_value(entry, 1);
      GVariant* inner = g_variant_get_variant(boxed);
      GVariant* replaced = GVariantReplace(inner, edit, depth + 1);
      g_variant_builder_add_value(&builder,
                                  g_variant_new_dict_entry(g_variant_new_string(name), g_variant_new_variant(replaced)));
      g_variant_unref(inner);
      g_variant_unref(boxed);
    } else {
      g_variant_builder_add_value(&builder, entry);
    }
    g_variant_unref(entry);
  }
  return g_variant_builder_end(&builder);
}

GVariantPtr GVariantEdit(const Edit& edit) {
  GVariantPtr edited(g_variant_ref_sink(GVariantReplace(edit.gvariant.get(), edit, 0)));
  g_variant_get_data(edited.get());  // serialised: the new block
  return edited;
}

void BsonReplace(const bson_t* source, bson_t* out, const Edit& edit, std::size_t depth) {
  bson_iter_t iter;
  if (!bson_iter_init(&iter, source)) return;
  while (bson_iter_next(&iter)) {
    const char* key = bson_iter_key(&iter);
    const int length = static_cast<int>(bson_iter_key_len(&iter));
    if (edit.path[depth] != key) {
      bson_append_iter(out, key, length, &iter);
    } else if (depth + 1 == edit.path.size()) {
      if (BSON_ITER_HOLDS_INT32(&iter)) {
        bson_append_int32(out, key, length, static_cast<std::int32_t>(edit.replacement));
      } else {
        bson_append_int64(out, key, length, edit.replacement);
      }
    } else if (BSON_ITER_HOLDS_DOCUMENT(&iter)) {
      std::uint32_t size = 0;
      const std::uint8_t* data = nullptr;
      bson_iter_document(&iter, &size, &data);
      bson_t inner;
      bson_t child;
      if (!bson_init_static(&inner, data, size)) return;
      bson_append_document_begin(out, key, length, &child);
      BsonReplace(&inner, &child, edit, depth + 1);
      bson_append_document_end(out, &child);
    } else {
      bson_append_iter(out, key, length, &iter);
    }
  }
}

BsonPtr BsonEdit(const Edit& edit) {
  bson_t source;
  BsonPtr out(bson_new());
  if (bson_init_static(&source, edit.bson.data(), edit.bson.size())) BsonReplace(&source, out.get(), edit, 0);
  return out;
}

// ---- registration -------------------------------------------------------------

void Rates(benchmark::State& state, const Edit& edit) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * edit.values));
}

template <typename NodeRefT>
void AddZxVariant(const std::string& kase, const char* contender, const char* label, std::shared_ptr<const Edit> e) {
  Add(kTree, kase, contender, [e, label](benchmark::State& state) {
    state.SetLabel(label);
    ZxVariant* edited = EditWithNodeTree<NodeRefT>(e->record.get(), e->path16, e->replacement);
    long long value = 0;
    bool ok = edited != nullptr && ZxVariantHelper::Validate(edited) && IntAt(edited, e->path, &value) &&
              value == e->replacement && CountNodes(edited) == e->values;
    // Putting the old value back must give the original record again.
    ZxVariant* restored = ok ? EditWithNodeTree<NodeRefT>(edited, e->path16, e->original) : nullptr;
    ok = ok && ZxVariantHelper::IsEqual(restored, e->record.get());
    ZxVariantHelper::Delete(restored);
    ZxVariantHelper::Delete(edited);
    if (!Verified(state, ok, "the leaf changed and nothing else")) return;
    for (auto _ : state) {
      ZxVariant* out = EditWithNodeTree<NodeRefT>(e->record.get(), e->path16, e->replacement);
      benchmark::DoNotOptimize(out);
      ZxVariantHelper::Delete(out);
    }
    Rates(state, *e);
  });
}

void RegisterCase(const std::string& kase, std::shared_ptr<const Edit> e) {
  AddZxVariant<ZxVariantHelper::NodeRef>(kase, "ZxVariant", "NodeRef seeded by chains, assign, Export", e);
  AddZxVariant<ZxVariantHelperNative::NodeRef>(kase, "ZxVariant.Native", "Native NodeRef seeded by arrays", e);

  Add(kTree, kase, "nlohmann", [e](benchmark::State& state) {
    state.SetLabel("json::from_msgpack, assign, json::to_msgpack");
    auto edit = [&e] {
      nlohmann::json tree = nlohmann::json::from_msgpack(e->msgpack);
      nlohmann::json* leaf = &tree;
      for (const std::string& name : e->path) leaf = &(*leaf)[name];
      *leaf = e->replacement;
      return nlohmann::json::to_msgpack(tree);
    };
    const nlohmann::json back = nlohmann::json::from_msgpack(edit());
    nlohmann::json::json_pointer pointer;
    for (const std::string& name : e->path) pointer /= name;
    const bool ok = CountValues(back) == e->values && back.at(pointer).get<long long>() == e->replacement;
    if (!Verified(state, ok, "the leaf changed and nothing else")) return;
    for (auto _ : state) {
      std::vector<std::uint8_t> out = edit();
      benchmark::DoNotOptimize(out.data());
    }
    Rates(state, *e);
  });

  Add(kTree, kase, "msgpack", [e](benchmark::State& state) {
    state.SetLabel("unpack, assign the object, pack");
    auto edit = [&e](msgpack::sbuffer& out) {
      msgpack::object_handle unpacked = msgpack::unpack(e->msgpack.data(), e->msgpack.size());
      msgpack::object root = unpacked.get();
      msgpack::object* leaf = MsgpackAt(root, e->path);
      if (leaf == nullptr) return false;
      *leaf = msgpack::object(e->replacement);
      msgpack::pack(out, root);
      return true;
    };
    {
      msgpack::sbuffer out;
      bool ok = edit(out);
      msgpack::object_handle back = msgpack::unpack(out.data(), out.size());
      msgpack::object root = back.get();
      const msgpack::object* leaf = ok ? MsgpackAt(root, e->path) : nullptr;
      ok = leaf != nullptr && leaf->as<long long>() == e->replacement && CountValues(root) == e->values;
      if (!Verified(state, ok, "the leaf changed and nothing else")) return;
    }
    for (auto _ : state) {
      msgpack::sbuffer out;
      benchmark::DoNotOptimize(edit(out));
    }
    Rates(state, *e);
  });

  Add(kTree, kase, "FlexBuffers", [e](benchmark::State& state) {
    state.SetLabel("immutable: the buffer replayed into a Builder with the leaf replaced");
    {
      flexbuffers::Builder builder;
      long long value = 0;
      const bool ok = FlexEdit(*e, builder) && FlexIntAt(flexbuffers::GetRoot(builder.GetBuffer()), e->path, &value) &&
                      value == e->replacement && CountValues(flexbuffers::GetRoot(builder.GetBuffer())) == e->values;
      if (!Verified(state, ok, "the leaf changed and nothing else")) return;
    }
    for (auto _ : state) {
      flexbuffers::Builder builder;
      benchmark::DoNotOptimize(FlexEdit(*e, builder));
    }
    Rates(state, *e);
  });

  Add(kTree, kase, "GVariant", [e](benchmark::State& state) {
    state.SetLabel("immutable: dictionaries on the path rebuilt, the rest shared, re-serialised");
    {
      const GVariantPtr edited = GVariantEdit(*e);
      long long value = 0;
      const bool ok = GVariantIntAt(edited.get(), e->path, &value) && value == e->replacement &&
                      CountValues(edited.get()) == e->values;
      if (!Verified(state, ok, "the leaf changed and nothing else")) return;
    }
    for (auto _ : state) {
      GVariantPtr edited = GVariantEdit(*e);
      benchmark::DoNotOptimize(edited.get());
    }
    Rates(state, *e);
  });

  Add(kTree, kase, "libbson", [e](benchmark::State& state) {
    state.SetLabel("documents on the path rebuilt, other members copied with bson_append_iter");
    {
      const BsonPtr edited = BsonEdit(*e);
      long long value = 0;
      const bool ok = BsonIntAt(edited.get(), e->path, &value) && value == e->replacement &&
                      CountValues(edited.get()) == e->values;
      if (!Verified(state, ok, "the leaf changed and nothing else")) return;
    }
    for (auto _ : state) {
      BsonPtr edited = BsonEdit(*e);
      benchmark::DoNotOptimize(edited.get());
    }
    Rates(state, *e);
  });

  NotApplicable(kTree, kase, "RapidJSON", "a DOM of heap nodes: no flat record to seed from or export to");
  NotApplicable(kTree, kase, "simdjson", "read-only DOM: nothing to edit");
}

// The common part of both kinds of data set.
std::shared_ptr<Edit> Start(ZxVariant* record, std::vector<std::string> path) {
  auto e = std::make_shared<Edit>();
  e->record = ShareRecord(record);
  e->values = CountNodes(record);
  e->path = std::move(path);
  for (const std::string& name : e->path) e->path16.push_back(Utf8ToUtf16(name));
  IntAt(record, e->path, &e->original);
  e->replacement = e->original + 1;
  return e;
}

void TakeBson(Edit& e, const bson_t* document) {
  const std::uint8_t* data = bson_get_data(document);
  e.bson.assign(data, data + document->len);
}

}  // namespace

void RegisterTreeBenchmarks(const std::vector<Document>& documents) {
  for (std::size_t nodes : {std::size_t{100}, std::size_t{10000}}) {
    const MixedTree tree = MakeMixedTree(nodes);
    std::shared_ptr<Edit> e = Start(BuildMixedWithBuilders(tree, true), MixedEditPath(tree));
    const std::vector<std::uint8_t> packed = nlohmann::json::to_msgpack(NlohmannMixed(tree, true));
    e->msgpack.assign(packed.begin(), packed.end());
    flexbuffers::Builder builder;
    FlexMixed(builder, tree, true);
    e->flex = builder.GetBuffer();
    e->gvariant = GVariantMixed(tree, true);
    TakeBson(*e, BsonMixed(tree, true).get());
    RegisterCase("N=" + std::to_string(nodes) + " named", e);
  }
  for (const Document& doc : documents) {
    std::vector<std::string> path = EditPathOf(doc);
    if (path.empty()) continue;
    std::shared_ptr<Edit> e = Start(RecordFromJson(doc.utf16), std::move(path));
    e->msgpack = MsgpackFromJson(doc.utf8);
    e->flex = FlexFromJson(doc.utf8);
    e->gvariant = GVariantFromJson(doc.utf8);
    TakeBson(*e, BsonFromJson(doc.utf8).get());
    RegisterCase(doc.name, e);
  }
}

}  // namespace zxvbench
