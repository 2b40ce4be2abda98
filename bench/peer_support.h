// The peers' side of the shared data: each peer's form of the documents,
// of the mixed trees and of the keyed objects, and a value count for each
// peer's form that the benchmarks check results with.
//
// Value counts follow the JSON view of the data: every object, array and
// scalar is one value, member names are not; a GVariant's variant and
// dict-entry wrappers count as nothing, its "maybe" (json-glib's null) as
// one value; a BSON document counts one for itself.
#pragma once

#include <bson/bson.h>
#include <flatbuffers/flexbuffers.h>
#include <glib.h>
#include <msgpack.hpp>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench_data.h"

namespace zxvbench {

// RapidJSON over the same UTF-16 text as ZxVariant.
using RapidUtf16 = rapidjson::UTF16<char16_t>;
using RapidDocument16 = rapidjson::GenericDocument<RapidUtf16>;
using RapidValue16 = rapidjson::GenericValue<RapidUtf16>;

struct GVariantUnref {
  void operator()(GVariant* v) const { g_variant_unref(v); }
};
using GVariantPtr = std::unique_ptr<GVariant, GVariantUnref>;

// Owns a heap bson_t.  (A class rather than std::unique_ptr<bson_t>: the
// type's alignment attribute would be dropped as a template argument.)
class BsonPtr {
 public:
  BsonPtr() = default;
  explicit BsonPtr(bson_t* document) : m_document(document) {}
  BsonPtr(BsonPtr&& other) noexcept : m_document(other.m_document) { other.m_document = nullptr; }
  BsonPtr& operator=(BsonPtr&& other) noexcept {
    if (this != &other) {
      reset();
      m_document = other.m_document;
      other.m_document = nullptr;
    }
    return *this;
  }
  ~BsonPtr() { reset(); }
  bson_t* get() const { return m_document; }
  explicit operator bool() const { return m_document != nullptr; }
  void reset() {
    if (m_document != nullptr) bson_destroy(m_document);
    m_document = nullptr;
  }

 private:
  bson_t* m_document = nullptr;
};

// A simdjson document: the parser owns the memory its root points into.
struct SimdDocument {
  simdjson::dom::parser parser;
  simdjson::dom::element root;
};

// ---- value counts -----------------------------------------------------------

std::size_t CountValues(const RapidValue16& value);
std::size_t CountValues(const nlohmann::json& value);
std::size_t CountValues(simdjson::dom::element value);
std::size_t CountValues(flexbuffers::Reference value);
std::size_t CountValues(GVariant* value);
std::size_t CountValues(const bson_t* document);
std::size_t CountValues(const msgpack::object& value);

// ---- documents in each peer's form (made before timing) --------------------

// Each gives an empty or null result when the text cannot be converted.
std::unique_ptr<RapidDocument16> RapidFromJson(const std::u16string& text);
std::unique_ptr<SimdDocument> SimdFromJson(const std::string& text);
std::vector<std::uint8_t> FlexFromJson(const std::string& text);
// Serialised (g_variant_get_data has run), sunk, owned.
GVariantPtr GVariantFromJson(const std::string& text);
BsonPtr BsonFromJson(const std::string& text);
// msgpack has no JSON reader: the bytes come from nlohmann's encoder.
std::string MsgpackFromJson(const std::string& text);

// ---- the mixed trees, built by each peer -----------------------------------
// Objects when `named`, arrays otherwise; the values of MixedGroup in order,
// Null as each peer's null (GVariant: an empty "maybe").

void RapidMixed(RapidDocument16& document, const MixedTree& tree, bool named);
nlohmann::json NlohmannMixed(const MixedTree& tree, bool named);
// Builds into `builder` and finishes it.
void FlexMixed(flexbuffers::Builder& builder, const MixedTree& tree, bool named);
// Serialised, sunk, owned.
GVariantPtr GVariantMixed(const MixedTree& tree, bool named);
BsonPtr BsonMixed(const MixedTree& tree, bool named);
void MsgpackMixed(msgpack::sbuffer& buffer, const MixedTree& tree, bool named);

// ---- reading by path (object member names) ---------------------------------

bool FlexIntAt(flexbuffers::Reference root, const std::vector<std::string>& path, long long* value);
bool GVariantIntAt(GVariant* root, const std::vector<std::string>& path, long long* value);
bool BsonIntAt(const bson_t* root, const std::vector<std::string>& path, long long* value);
// The member value reached by names; null when missing.
msgpack::object* MsgpackAt(msgpack::object& root, const std::vector<std::string>& path);

}  // namespace zxvbench
