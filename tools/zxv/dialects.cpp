#include "tools/zxv/dialects.h"

#include <zxvariant/json.h>
#include <zxvariant/natural_xml.h>
#include <zxvariant/printers.h>

#include <algorithm>
#include <cctype>

#include "tools/zxv/cli.h"

namespace zxv {
namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// A writer's text as UTF-8; a null text means the writer could not finish.
std::string TakeText(char16_t* raw, Format format) {
  TextPtr text(raw);
  if (!text) {
    throw CliError(std::string("the ") + Info(format).name +
                   " writer could not produce the text (out of memory or record too large)");
  }
  return EncodeUtf8(text.get());
}

}  // namespace

const std::vector<FormatInfo>& AllFormats() {
  static const std::vector<FormatInfo> formats = {
      {Format::Zxv, "zxv", ".zxv", "record file: one zero-based record, exactly its size bytes", true},
      {Format::Json, "json", ".json", "JSON text", true},
      {Format::Tree, "tree", ".tree .txt", "the debugging tree: one node per line", false},
      {Format::Simple, "simple", ".simple", "Simple: elements named after the nodes", false},
      {Format::Dom, "dom", ".dom", "Dom: an element tree from a record in DOM form", false},
      {Format::Yam, "yam", ".yam", "Yam: elements tagged by type, values as attributes", false},
      {Format::Vireo, "vireo", ".vireo", "VireoConfig: business objects and their tasks", false},
      {Format::Qv, "qv", ".qv", "QvFramework: the event-bus configuration dialect", false},
      {Format::Natural, "natural", ".natural .xml", "Natural XML", false},
  };
  return formats;
}

const FormatInfo& Info(Format format) {
  for (const FormatInfo& info : AllFormats()) {
    if (info.format == format) return info;
  }
  return AllFormats().front();
}

std::optional<Format> FormatFromName(const std::string& name) {
  const std::string wanted = Lower(name);
  for (const FormatInfo& info : AllFormats()) {
    if (wanted == info.name) return info.format;
  }
  return std::nullopt;
}

std::optional<Format> FormatFromExtension(const std::string& path, bool forInput) {
  const std::size_t slash = path.find_last_of('/');
  const std::size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return std::nullopt;
  const std::string extension = Lower(path.substr(dot));
  for (const FormatInfo& info : AllFormats()) {
    if (forInput && !info.readable) continue;
    std::string list = std::string(" ") + info.extensions + " ";
    if (list.find(" " + extension + " ") != std::string::npos) return info.format;
  }
  return std::nullopt;
}

bool CanShowTypes(Format format) { return format == Format::Tree || format == Format::Simple; }

RecordPtr ParseJson(const std::u16string& text, const std::string& name) {
  const char16_t* expected = nullptr;
  std::size_t position = 0;
  RecordPtr record(ZxVariantHelper::NewJson(text.c_str(), &expected, &position));
  if (record) return record;
  if (expected == nullptr) {
    throw CliError(name + ": cannot read the JSON (too large, or out of memory)");
  }
  // The reader counts UTF-16 units; tell the place as a line and a column.
  std::size_t line = 1, column = 1;
  for (std::size_t i = 0; i < position && i < text.size(); ++i) {
    if (text[i] == u'\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  std::string where = position >= text.size() ? std::string("at the end of the text")
                                               : "at line " + std::to_string(line) + ", column " +
                                                     std::to_string(column);
  throw CliError(name + ": invalid JSON " + where + ": expected " + EncodeUtf8(expected));
}

std::string RenderText(Format format, const ZxVariant* record, bool showTypes) {
  char16_t* raw = nullptr;
  switch (format) {
    case Format::Tree:
      raw = ZxVariantHelper::ZxVariantPrintNew(record, showTypes);
      break;
    case Format::Simple:
      raw = ZxVariantHelper::NewSimple(record, showTypes);
      break;
    case Format::Dom:
      raw = ZxVariantHelper::NewDom(record, nullptr);
      break;
    case Format::Yam:
      // The outermost element carries the record's name when it has one.
      raw = ZxVariantHelper::NewYam(record, true);
      break;
    case Format::Vireo:
      raw = ZxVariantHelper::NewVireoConfig(record);
      break;
    case Format::Qv:
      // Null is this dialect's "nothing to print", not a failure.
      raw = ZxVariantHelper::QvFramework(record);
      if (raw == nullptr) return std::string();
      break;
    case Format::Json:
      raw = ZxVariantHelper::NewJson(record);
      break;
    case Format::Natural:
      raw = ZxVariantHelper::NewNatural(record);
      break;
    case Format::Zxv:
      throw CliError("a .zxv record is not a text format");
  }
  return TakeText(raw, format);
}

const char* WhyNothingPrinted(Format format) {
  switch (format) {
    case Format::Dom:
      return "it prints only records in DOM form: a List of three items, the attributes "
             "(a List of named Strings), the children (a List of DOM-form records) and the text";
    case Format::Vireo:
      return "it prints only a List holding at least one named List";
    case Format::Qv:
      return "it prints nothing for an unnamed record, and an unnamed node drops everything "
             "printed before it";
    default:
      return "the record holds nothing this format can show";
  }
}

}  // namespace zxv
