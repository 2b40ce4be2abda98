#include "peer_support.h"

#include <flatbuffers/idl.h>
#include <json-glib/json-glib.h>

#include <cstring>

namespace zxvbench {
namespace {

std::size_t CountBsonChildren(bson_iter_t* iter) {
  std::size_t count = 0;
  while (bson_iter_next(iter)) {
    ++count;
    if (BSON_ITER_HOLDS_DOCUMENT(iter) || BSON_ITER_HOLDS_ARRAY(iter)) {
      bson_iter_t child;
      if (bson_iter_recurse(iter, &child)) count += CountBsonChildren(&child);
    }
  }
  return count;
}

GVariant* Entry(const char* key, GVariant* value) {
  return g_variant_new_dict_entry(g_variant_new_string(key), g_variant_new_variant(value));
}

// Appends a member (named) or an element to a builder of a{sv} or av.
void GAdd(GVariantBuilder* builder, bool named, const char* key, GVariant* value) {
  g_variant_builder_add_value(builder, named ? Entry(key, value) : g_variant_new_variant(value));
}

void BsonLeaves(bson_t* group, const MixedGroup& g, bool named) {
  char digits[16];
  for (int k = 0; k < g.leaves; ++k) {
    const char* key = kLeafNames8[k];
    if (!named) bson_uint32_to_string(static_cast<std::uint32_t>(k), &key, digits, sizeof digits);
    switch (k) {
      case 0: bson_append_int32(group, key, -1, g.id); break;
      case 1: bson_append_double(group, key, -1, g.score); break;
      case 2: bson_append_utf8(group, key, -1, g.name8.data(), static_cast<int>(g.name8.size())); break;
      case 3: bson_append_bool(group, key, -1, g.ok); break;
      case 4: bson_append_int64(group, key, -1, g.big); break;
      case 5: bson_append_null(group, key, -1); break;
      default: bson_append_utf8(group, key, -1, g.tag8.data(), static_cast<int>(g.tag8.size())); break;
    }
  }
}

}  // namespace

// ---- value counts -----------------------------------------------------------

std::size_t CountValues(const RapidValue16& value) {
  std::size_t count = 1;
  if (value.IsObject()) {
    for (auto m = value.MemberBegin(); m != value.MemberEnd(); ++m) count += CountValues(m->value);
  } else if (value.IsArray()) {
    for (const RapidValue16& element : value.GetArray()) count += CountValues(element);
  }
  return count;
}

std::size_t CountValues(const nlohmann::json& value) {
  std::size_t count = 1;
  if (value.is_structured()) {
    for (const nlohmann::json& element : value) count += CountValues(element);
  }
  return count;
}

std::size_t CountValues(simdjson::dom::element value) {
  std::size_t count = 1;
  if (value.is_object()) {
    for (simdjson::dom::key_value_pair field : simdjson::dom::object(value)) count += CountValues(field.value);
  } else if (value.is_array()) {
    for (simdjson::dom::element element : simdjson::dom::array(value)) count += CountValues(element);
  }
  return count;
}

std::size_t CountValues(flexbuffers::Reference value) {
  std::size_t count = 1;
  if (value.IsMap()) {
    flexbuffers::Vector values = value.AsMap().Values();
    for (std::size_t i = 0; i < values.size(); ++i) count += CountValues(values[i]);
  } else if (value.IsUntypedVector()) {
    flexbuffers::Vector elements = value.AsVector();
    for (std::size_t i = 0; i < elements.size(); ++i) count += CountValues(elements[i]);
  } else if (value.IsTypedVector()) {
    count += value.AsTypedVector().size();
  } else if (value.IsFixedTypedVector()) {
    count += value.AsFixedTypedVector().size();
  }
  return count;
}

std::size_t CountValues(GVariant* value) {
  const GVariantType* type = g_variant_get_type(value);
  if (g_variant_type_is_maybe(type)) return 1;
  if (g_variant_type_is_variant(type) || g_variant_type_is_dict_entry(type)) {
    // The wrapped value (of a dict entry: the value, not the key).
    GVariant* inner = g_variant_get_child_value(value, g_variant_type_is_variant(type) ? 0 : 1);
    const std::size_t count = CountValues(inner);
    g_variant_unref(inner);
    return count;
  }
  std::size_t count = 1;
  if (g_variant_type_is_container(type)) {
    const gsize children = g_variant_n_children(value);
    for (gsize i = 0; i < children; ++i) {
      GVariant* child = g_variant_get_child_value(value, i);
      count += CountValues(child);
      g_variant_unref(child);
    }
  }
  return count;
}

std::size_t CountValues(const bson_t* document) {
  bson_iter_t iter;
  if (!bson_iter_init(&iter, document)) return 0;
  return 1 + CountBsonChildren(&iter);
}

std::size_t CountValues(const msgpack::object& value) {
  std::size_t count = 1;
  if (value.type == msgpack::type::MAP) {
    for (std::uint32_t i = 0; i < value.via.map.size; ++i) count += CountValues(value.via.map.ptr[i].val);
  } else if (value.type == msgpack::type::ARRAY) {
    for (std::uint32_t i = 0; i < value.via.array.size; ++i) count += CountValues(value.via.array.ptr[i]);
  }
  return count;
}

// ---- documents --------------------------------------------------------------

std::unique_ptr<RapidDocument16> RapidFromJson(const std::u16string& text) {
  auto document = std::make_unique<RapidDocument16>();
  document->Parse(text.c_str());
  if (document->HasParseError()) return nullptr;
  return document;
}

std::unique_ptr<SimdDocument> SimdFromJson(const std::string& text) {
  auto document = std::make_unique<SimdDocument>();
  if (document->parser.parse(text).get(document->root) != simdjson::SUCCESS) return nullptr;
  return document;
}

std::vector<std::uint8_t> FlexFromJson(const std::string& text) {
  flatbuffers::Parser parser;
  flexbuffers::Builder builder;
  if (!parser.ParseFlexBuffer(text.c_str(), nullptr, &builder)) return {};
  return builder.GetBuffer();
}

GVariantPtr GVariantFromJson(const std::string& text) {
  GError* error = nullptr;
  GVariant* value =
      json_gvariant_deserialize_data(text.data(), static_cast<gssize>(text.size()), nullptr, &error);
  if (value == nullptr) {
    g_clear_error(&error);
    return nullptr;
  }
  GVariantPtr owned(g_variant_ref_sink(value));
  g_variant_get_data(owned.get());
  return owned;
}

BsonPtr BsonFromJson(const std::string& text) {
  bson_error_t error;
  return BsonPtr(bson_new_from_json(reinterpret_cast<const std::uint8_t*>(text.data()),
                                    static_cast<ssize_t>(text.size()), &error));
}

std::string MsgpackFromJson(const std::string& text) {
  const std::vector<std::uint8_t> bytes = nlohmann::json::to_msgpack(nlohmann::json::parse(text));
  return std::string(bytes.begin(), bytes.end());
}

// ---- mixed trees ------------------------------------------------------------

void RapidMixed(RapidDocument16& document, const MixedTree& tree, bool named) {
  using rapidjson::SizeType;
  auto& allocator = document.GetAllocator();
  const rapidjson::Type shape = named ? rapidjson::kObjectType : rapidjson::kArrayType;
  document.SetObject();
  if (!named) document.SetArray();
  for (const MixedGroup& g : tree.groups) {
    RapidValue16 group(shape);
    for (int k = 0; k < g.leaves; ++k) {
      RapidValue16 leaf;
      switch (k) {
        case 0: leaf.SetInt(g.id); break;
        case 1: leaf.SetDouble(g.score); break;
        case 2: leaf.SetString(g.name16.c_str(), static_cast<SizeType>(g.name16.size()), allocator); break;
        case 3: leaf.SetBool(g.ok); break;
        case 4: leaf.SetInt64(g.big); break;
        case 5: break;
        default: leaf.SetString(g.tag16.c_str(), static_cast<SizeType>(g.tag16.size()), allocator); break;
      }
      if (named) {
        group.AddMember(rapidjson::StringRef(kLeafNames16[k]), leaf, allocator);
      } else {
        group.PushBack(leaf, allocator);
      }
    }
    if (named) {
      RapidValue16 key(g.key16.c_str(), static_cast<SizeType>(g.key16.size()), allocator);
      document.AddMember(key, group, allocator);
    } else {
      document.PushBack(group, allocator);
    }
  }
}

nlohmann::json NlohmannMixed(const MixedTree& tree, bool named) {
  using nlohmann::json;
  json root = named ? json::object() : json::array();
  for (const MixedGroup& g : tree.groups) {
    json group = named ? json::object() : json::array();
    for (int k = 0; k < g.leaves; ++k) {
      json leaf;
      switch (k) {
        case 0: leaf = g.id; break;
        case 1: leaf = g.score; break;
        case 2: leaf = g.name8; break;
        case 3: leaf = g.ok; break;
        case 4: leaf = g.big; break;
        case 5: break;
        default: leaf = g.tag8; break;
      }
      if (named) {
        group[kLeafNames8[k]] = std::move(leaf);
      } else {
        group.push_back(std::move(leaf));
      }
    }
    if (named) {
      root[g.key8] = std::move(group);
    } else {
      root.push_back(std::move(group));
    }
  }
  return root;
}

void FlexMixed(flexbuffers::Builder& builder, const MixedTree& tree, bool named) {
  const std::size_t root = named ? builder.StartMap() : builder.StartVector();
  for (const MixedGroup& g : tree.groups) {
    const std::size_t group = named ? builder.StartMap(g.key8.c_str()) : builder.StartVector();
    for (int k = 0; k < g.leaves; ++k) {
      if (named) {
        const char* key = kLeafNames8[k];
        switch (k) {
          case 0: builder.Int(key, g.id); break;
          case 1: builder.Double(key, g.score); break;
          case 2: builder.String(key, g.name8); break;
          case 3: builder.Bool(key, g.ok); break;
          case 4: builder.Int(key, g.big); break;
          case 5: builder.Null(key); break;
          default: builder.String(key, g.tag8); break;
        }
      } else {
        switch (k) {
          case 0: builder.Int(g.id); break;
          case 1: builder.Double(g.score); break;
          case 2: builder.String(g.name8); break;
          case 3: builder.Bool(g.ok); break;
          case 4: builder.Int(g.big); break;
          case 5: builder.Null(); break;
          default: builder.String(g.tag8); break;
        }
      }
    }
    if (named) {
      builder.EndMap(group);
    } else {
      builder.EndVector(group, false, false);
    }
  }
  if (named) {
    builder.EndMap(root);
  } else {
    builder.EndVector(root, false, false);
  }
  builder.Finish();
}

GVariantPtr GVariantMixed(const MixedTree& tree, bool named) {
  const GVariantType* shape = named ? G_VARIANT_TYPE_VARDICT : G_VARIANT_TYPE("av");
  GVariantBuilder root;
  g_variant_builder_init(&root, shape);
  for (const MixedGroup& g : tree.groups) {
    GVariantBuilder group;
    g_variant_builder_init(&group, shape);
    for (int k = 0; k < g.leaves; ++k) {
      GVariant* leaf;
      switch (k) {
        case 0: leaf = g_variant_new_int32(g.id); break;
        case 1: leaf = g_variant_new_double(g.score); break;
        case 2: leaf = g_variant_new_string(g.name8.c_str()); break;
        case 3: leaf = g_variant_new_boolean(g.ok); break;
        case 4: leaf = g_variant_new_int64(g.big); break;
        case 5: leaf = g_variant_new_maybe(G_VARIANT_TYPE_VARIANT, nullptr); break;
        default: leaf = g_variant_new_string(g.tag8.c_str()); break;
      }
      GAdd(&group, named, kLeafNames8[k], leaf);
    }
    GAdd(&root, named, g.key8.c_str(), g_variant_builder_end(&group));
  }
  GVariantPtr value(g_variant_ref_sink(g_variant_builder_end(&root)));
  g_variant_get_data(value.get());
  return value;
}

BsonPtr BsonMixed(const MixedTree& tree, bool named) {
  BsonPtr root(bson_new());
  char digits[16];
  std::uint32_t index = 0;
  for (const MixedGroup& g : tree.groups) {
    const char* key = g.key8.c_str();
    bson_t group;
    if (named) {
      bson_append_document_begin(root.get(), key, static_cast<int>(g.key8.size()), &group);
    } else {
      bson_uint32_to_string(index++, &key, digits, sizeof digits);
      bson_append_array_begin(root.get(), key, -1, &group);
    }
    BsonLeaves(&group, g, named);
    if (named) {
      bson_append_document_end(root.get(), &group);
    } else {
      bson_append_array_end(root.get(), &group);
    }
  }
  return root;
}

void MsgpackMixed(msgpack::sbuffer& buffer, const MixedTree& tree, bool named) {
  msgpack::packer<msgpack::sbuffer> packer(buffer);
  auto text = [&packer](const std::string& s) {
    packer.pack_str(static_cast<std::uint32_t>(s.size()));
    packer.pack_str_body(s.data(), static_cast<std::uint32_t>(s.size()));
  };
  const auto groups = static_cast<std::uint32_t>(tree.groups.size());
  named ? packer.pack_map(groups) : packer.pack_array(groups);
  for (const MixedGroup& g : tree.groups) {
    if (named) text(g.key8);
    const auto leaves = static_cast<std::uint32_t>(g.leaves);
    named ? packer.pack_map(leaves) : packer.pack_array(leaves);
    for (int k = 0; k < g.leaves; ++k) {
      if (named) {
        const auto length = static_cast<std::uint32_t>(std::strlen(kLeafNames8[k]));
        packer.pack_str(length);
        packer.pack_str_body(kLeafNames8[k], length);
      }
      switch (k) {
        case 0: packer.pack_int32(g.id); break;
        case 1: packer.pack_double(g.score); break;
        case 2: text(g.name8); break;
        case 3: g.ok ? packer.pack_true() : packer.pack_false(); break;
        case 4: packer.pack_int64(g.big); break;
        case 5: packer.pack_nil(); break;
        default: text(g.tag8); break;
      }
    }
  }
}

// ---- reading by path --------------------------------------------------------

bool FlexIntAt(flexbuffers::Reference root, const std::vector<std::string>& path, long long* value) {
  flexbuffers::Reference node = root;
  for (const std::string& name : path) {
    if (!node.IsMap()) return false;
    node = node.AsMap()[name];
  }
  if (!node.IsInt() && !node.IsUInt()) return false;
  *value = node.AsInt64();
  return true;
}

bool GVariantIntAt(GVariant* root, const std::vector<std::string>& path, long long* value) {
  GVariantPtr node(g_variant_ref(root));
  for (const std::string& name : path) {
    if (!g_variant_is_of_type(node.get(), G_VARIANT_TYPE_VARDICT)) return false;
    GVariant* child = g_variant_lookup_value(node.get(), name.c_str(), nullptr);
    if (child == nullptr) return false;
    node.reset(child);
  }
  if (g_variant_is_of_type(node.get(), G_VARIANT_TYPE_INT32)) {
    *value = g_variant_get_int32(node.get());
  } else if (g_variant_is_of_type(node.get(), G_VARIANT_TYPE_INT64)) {
    *value = g_variant_get_int64(node.get());
  } else {
    return false;
  }
  return true;
}

bool BsonIntAt(const bson_t* root, const std::vector<std::string>& path, long long* value) {
  bson_iter_t iter;
  if (!bson_iter_init(&iter, root)) return false;
  std::string dotted;
  for (const std::string& name : path) dotted += (dotted.empty() ? "" : ".") + name;
  bson_iter_t found;
  if (!bson_iter_find_descendant(&iter, dotted.c_str(), &found)) return false;
  if (!BSON_ITER_HOLDS_INT(&found)) return false;
  *value = bson_iter_as_int64(&found);
  return true;
}

msgpack::object* MsgpackAt(msgpack::object& root, const std::vector<std::string>& path) {
  msgpack::object* node = &root;
  for (const std::string& name : path) {
    if (node->type != msgpack::type::MAP) return nullptr;
    msgpack::object* next = nullptr;
    for (std::uint32_t i = 0; i < node->via.map.size && next == nullptr; ++i) {
      const msgpack::object& key = node->via.map.ptr[i].key;
      if (key.type == msgpack::type::STR && key.via.str.size == name.size() &&
          std::memcmp(key.via.str.ptr, name.data(), name.size()) == 0) {
        next = &node->via.map.ptr[i].val;
      }
    }
    if (next == nullptr) return nullptr;
    node = next;
  }
  return node;
}

}  // namespace zxvbench
