// The formats the tool reads and writes: the .zxv record file, JSON, and the
// library's printed text dialects.  Maps names and file extensions to
// formats, reads JSON into records and renders records as text.
#pragma once

#include <zxvariant/record.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/zxv/zxv_file.h"

namespace zxv {

enum class Format { Zxv, Json, Tree, Simple, Dom, Yam, Vireo, Qv, Natural };

struct FormatInfo {
  Format format;
  const char* name;        // as given to --from / --to
  const char* extensions;  // recognised output extensions, blank-separated
  const char* summary;     // one line for --help
  bool readable;           // may be a conversion's input
};

// Every format, in the order --help lists them.
const std::vector<FormatInfo>& AllFormats();
const FormatInfo& Info(Format format);

std::optional<Format> FormatFromName(const std::string& name);
// Guessed from the file name's extension (case-insensitive); for input only
// the readable formats count.
std::optional<Format> FormatFromExtension(const std::string& path, bool forInput);

// JSON text into a pointer-form record.  Throws CliError naming `name` and
// the place where reading stopped when the reader rejects the text.
RecordPtr ParseJson(const std::u16string& text, const std::string& name);

// The record as text in `format` (not Zxv), UTF-8.  `showTypes` applies to
// the formats for which CanShowTypes is true.  Some dialects print nothing
// for records of the wrong shape; that gives "" (see WhyNothingPrinted).
// Throws CliError when the writer cannot finish the text.
std::string RenderText(Format format, const ZxVariant* record, bool showTypes);

// Why `format` may print nothing for a record, for the user.
const char* WhyNothingPrinted(Format format);

// Whether `format` can show each node's type (--types).
bool CanShowTypes(Format format);

}  // namespace zxv
