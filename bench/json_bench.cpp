// Workload 1: JSON text to an in-memory value (JsonParse) and back to text
// (JsonWrite), on the three standard documents.
//
// ZxVariant, RapidJSON (UTF16<char16_t>) and nlohmann/json read the same
// UTF-16 text; simdjson, FlexBuffers, GVariant (json-glib) and libbson read
// its UTF-8 form, the only text they take.  Bytes per second count the
// document's UTF-8 size for every contender, so the rates compare directly.
#include <json-glib/json-glib.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <flatbuffers/idl.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "bench_common.h"
#include "peer_support.h"
#include "zxv_support.h"

namespace zxvbench {
namespace {

constexpr const char* kParse = "JsonParse";
constexpr const char* kWrite = "JsonWrite";

void Rates(benchmark::State& state, const Document& document) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.utf8.size()));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * document.values));
}

// ---- parse ------------------------------------------------------------------

void RegisterParse(const Document& doc) {
  Add(kParse, doc.name, "ZxVariant", [&doc](benchmark::State& state) {
    ZxVariant* record = ZxVariantHelper::NewJson(doc.utf16.c_str());
    const bool ok = record != nullptr && ZxVariantHelper::Validate(record) && CountNodes(record) == doc.values;
    ZxVariantHelper::Delete(record);
    if (!Verified(state, ok, "record with every value")) return;
    for (auto _ : state) {
      ZxVariant* parsed = ZxVariantHelper::NewJson(doc.utf16.c_str());
      benchmark::DoNotOptimize(parsed);
      ZxVariantHelper::Delete(parsed);
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "RapidJSON", [&doc](benchmark::State& state) {
    state.SetLabel("UTF16<char16_t> DOM, UTF-16 text, default flags (fast, not always correctly rounded)");
    {
      RapidDocument16 check;
      check.Parse(doc.utf16.c_str());
      if (!Verified(state, !check.HasParseError() && CountValues(check) == doc.values, "DOM with every value")) {
        return;
      }
    }
    for (auto _ : state) {
      RapidDocument16 parsed;
      parsed.Parse(doc.utf16.c_str());
      benchmark::DoNotOptimize(parsed.IsObject());
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "RapidJSON.FullPrecision", [&doc](benchmark::State& state) {
    state.SetLabel("kParseFullPrecisionFlag: correctly rounded numbers, as ZxVariant reads them");
    constexpr unsigned kFlags = rapidjson::kParseFullPrecisionFlag;
    {
      RapidDocument16 check;
      check.Parse<kFlags>(doc.utf16.c_str());
      if (!Verified(state, !check.HasParseError() && CountValues(check) == doc.values, "DOM with every value")) {
        return;
      }
    }
    for (auto _ : state) {
      RapidDocument16 parsed;
      parsed.Parse<kFlags>(doc.utf16.c_str());
      benchmark::DoNotOptimize(parsed.IsObject());
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "simdjson", [&doc](benchmark::State& state) {
    state.SetLabel("UTF-8 text, DOM parser reused as designed");
    const simdjson::padded_string padded(doc.utf8);
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    const bool ok = parser.parse(padded).get(root) == simdjson::SUCCESS && CountValues(root) == doc.values;
    if (!Verified(state, ok, "DOM with every value")) return;
    for (auto _ : state) {
      auto error = parser.parse(padded).get(root);
      benchmark::DoNotOptimize(error);
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "nlohmann", [&doc](benchmark::State& state) {
    state.SetLabel("UTF-16 text");
    if (!Verified(state, CountValues(nlohmann::json::parse(doc.utf16)) == doc.values, "json with every value")) {
      return;
    }
    for (auto _ : state) {
      nlohmann::json parsed = nlohmann::json::parse(doc.utf16);
      benchmark::DoNotOptimize(parsed.is_object());
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "FlexBuffers", [&doc](benchmark::State& state) {
    state.SetLabel("UTF-8 text, flatbuffers::Parser into a Builder");
    const std::vector<std::uint8_t> check = FlexFromJson(doc.utf8);
    const bool ok = !check.empty() && CountValues(flexbuffers::GetRoot(check)) == doc.values;
    if (!Verified(state, ok, "buffer with every value")) return;
    for (auto _ : state) {
      flatbuffers::Parser parser;
      flexbuffers::Builder builder;
      const bool parsed = parser.ParseFlexBuffer(doc.utf8.c_str(), nullptr, &builder);
      benchmark::DoNotOptimize(parsed);
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "GVariant", [&doc](benchmark::State& state) {
    state.SetLabel("UTF-8 text, json-glib json_gvariant_deserialize_data");
    const GVariantPtr check = GVariantFromJson(doc.utf8);
    if (!Verified(state, check != nullptr && CountValues(check.get()) == doc.values, "variant with every value")) {
      return;
    }
    for (auto _ : state) {
      GVariant* parsed =
          json_gvariant_deserialize_data(doc.utf8.data(), static_cast<gssize>(doc.utf8.size()), nullptr, nullptr);
      g_variant_unref(g_variant_ref_sink(parsed));
    }
    Rates(state, doc);
  });

  Add(kParse, doc.name, "libbson", [&doc](benchmark::State& state) {
    state.SetLabel("UTF-8 text, bson_new_from_json");
    const BsonPtr check = BsonFromJson(doc.utf8);
    if (!Verified(state, check && CountValues(check.get()) == doc.values, "document with every value")) {
      return;
    }
    for (auto _ : state) {
      bson_error_t error;
      bson_t* parsed = bson_new_from_json(reinterpret_cast<const std::uint8_t*>(doc.utf8.data()),
                                          static_cast<ssize_t>(doc.utf8.size()), &error);
      bson_destroy(parsed);
    }
    Rates(state, doc);
  });

  NotApplicable(kParse, doc.name, "msgpack", "msgpack-c++ has no JSON reader");
}

// ---- write ------------------------------------------------------------------

// RapidJSON's two writers into a UTF-16 buffer.
template <bool kPretty>
void RegisterRapidWrite(const Document& doc, const char* contender, const char* label) {
  auto parsed = std::shared_ptr<RapidDocument16>(RapidFromJson(doc.utf16));
  Add(kWrite, doc.name, contender, [&doc, parsed, label](benchmark::State& state) {
    using Buffer = rapidjson::GenericStringBuffer<RapidUtf16>;
    using Writer = std::conditional_t<kPretty, rapidjson::PrettyWriter<Buffer, RapidUtf16, RapidUtf16>,
                                      rapidjson::Writer<Buffer, RapidUtf16, RapidUtf16>>;
    state.SetLabel(label);
    auto write = [&parsed](Buffer& out) {
      Writer writer(out);
      if constexpr (kPretty) writer.SetIndent(u' ', 4);
      return parsed->Accept(writer);
    };
    {
      Buffer out;
      const bool ok = parsed != nullptr && write(out);
      std::unique_ptr<RapidDocument16> back = ok ? RapidFromJson(out.GetString()) : nullptr;
      if (!Verified(state, back != nullptr && CountValues(*back) == doc.values, "text that reads back whole")) {
        return;
      }
    }
    for (auto _ : state) {
      Buffer out;
      benchmark::DoNotOptimize(write(out));
    }
    Rates(state, doc);
  });
}

void RegisterWrite(const Document& doc) {
  auto record = ShareRecord(RecordFromJson(doc.utf16));
  Add(kWrite, doc.name, "ZxVariant", [&doc, record](benchmark::State& state) {
    state.SetLabel("indented, UTF-16; floats as %g (6 digits)");
    char16_t* text = record ? ZxVariantHelper::NewJson(record.get()) : nullptr;
    ZxVariant* back = text ? ZxVariantHelper::NewJson(text) : nullptr;
    const bool ok = back != nullptr && CountNodes(back) == doc.values && SameAfterJsonText(record.get(), back);
    ZxVariantHelper::Delete(back);
    ZxVariantHelper::Delete(text);
    if (!Verified(state, ok, "text that reads back to the same record")) return;
    for (auto _ : state) {
      char16_t* written = ZxVariantHelper::NewJson(record.get());
      benchmark::DoNotOptimize(written);
      ZxVariantHelper::Delete(written);
    }
    Rates(state, doc);
  });

  RegisterRapidWrite<true>(doc, "RapidJSON.Pretty", "PrettyWriter, 4-blank indent like ZxVariant, UTF-16");
  RegisterRapidWrite<false>(doc, "RapidJSON.Compact", "Writer, no blanks, UTF-16");

  auto simd = std::shared_ptr<SimdDocument>(SimdFromJson(doc.utf8));
  Add(kWrite, doc.name, "simdjson", [&doc, simd](benchmark::State& state) {
    state.SetLabel("to_string (minified), UTF-8");
    std::unique_ptr<SimdDocument> back = simd ? SimdFromJson(simdjson::to_string(simd->root)) : nullptr;
    if (!Verified(state, back != nullptr && CountValues(back->root) == doc.values, "text that reads back whole")) {
      return;
    }
    for (auto _ : state) {
      std::string written = simdjson::to_string(simd->root);
      benchmark::DoNotOptimize(written.data());
    }
    Rates(state, doc);
  });

  auto json = std::make_shared<nlohmann::json>(nlohmann::json::parse(doc.utf8));
  Add(kWrite, doc.name, "nlohmann", [&doc, json](benchmark::State& state) {
    state.SetLabel("dump(4), UTF-8");
    if (!Verified(state, CountValues(nlohmann::json::parse(json->dump(4))) == doc.values,
                  "text that reads back whole")) {
      return;
    }
    for (auto _ : state) {
      std::string written = json->dump(4);
      benchmark::DoNotOptimize(written.data());
    }
    Rates(state, doc);
  });

  auto flex = std::make_shared<std::vector<std::uint8_t>>(FlexFromJson(doc.utf8));
  Add(kWrite, doc.name, "FlexBuffers", [&doc, flex](benchmark::State& state) {
    state.SetLabel("Reference::ToString, UTF-8");
    auto write = [&flex] {
      std::string text;
      flexbuffers::GetRoot(*flex).ToString(true, true, text);
      return text;
    };
    const std::vector<std::uint8_t> back = flex->empty() ? std::vector<std::uint8_t>() : FlexFromJson(write());
    if (!Verified(state, !back.empty() && CountValues(flexbuffers::GetRoot(back)) == doc.values,
                  "text that reads back whole")) {
      return;
    }
    for (auto _ : state) {
      std::string written = write();
      benchmark::DoNotOptimize(written.data());
    }
    Rates(state, doc);
  });

  auto variant = std::shared_ptr<GVariant>(GVariantFromJson(doc.utf8).release(), GVariantUnref());
  Add(kWrite, doc.name, "GVariant", [&doc, variant](benchmark::State& state) {
    state.SetLabel("json-glib json_gvariant_serialize_data, UTF-8");
    bool ok = false;
    if (variant) {
      gsize length = 0;
      gchar* text = json_gvariant_serialize_data(variant.get(), &length);
      const GVariantPtr back = GVariantFromJson(std::string(text, length));
      ok = back != nullptr && CountValues(back.get()) == doc.values;
      g_free(text);
    }
    if (!Verified(state, ok, "text that reads back whole")) return;
    for (auto _ : state) {
      gsize length = 0;
      gchar* written = json_gvariant_serialize_data(variant.get(), &length);
      benchmark::DoNotOptimize(written);
      g_free(written);
    }
    Rates(state, doc);
  });

  auto bson = std::make_shared<BsonPtr>(BsonFromJson(doc.utf8));
  Add(kWrite, doc.name, "libbson", [&doc, bson](benchmark::State& state) {
    state.SetLabel("bson_as_relaxed_extended_json, UTF-8");
    bool ok = false;
    if (*bson) {
      std::size_t length = 0;
      char* text = bson_as_relaxed_extended_json(bson->get(), &length);
      const BsonPtr back = BsonFromJson(std::string(text, length));
      ok = back && CountValues(back.get()) == doc.values;
      bson_free(text);
    }
    if (!Verified(state, ok, "text that reads back whole")) return;
    for (auto _ : state) {
      std::size_t length = 0;
      char* written = bson_as_relaxed_extended_json(bson->get(), &length);
      benchmark::DoNotOptimize(written);
      bson_free(written);
    }
    Rates(state, doc);
  });

  NotApplicable(kWrite, doc.name, "msgpack", "msgpack-c++ has no JSON writer");
}

}  // namespace

void RegisterJsonBenchmarks(const std::vector<Document>& documents) {
  for (const Document& doc : documents) RegisterParse(doc);
  for (const Document& doc : documents) RegisterWrite(doc);
}

}  // namespace zxvbench
