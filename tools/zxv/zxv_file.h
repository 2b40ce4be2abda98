// Files and streams: reading and writing whole files (or standard input and
// output for "-"), loading .zxv records safely, and UTF-8 text on the outside
// of the tool against UTF-16 inside it.
//
// A .zxv file holds one record in zero-based form, exactly its `size` bytes.
// Loading one never trusts the bytes: the length must equal the size word,
// the zero-based structure check must pass, and only then is a private copy
// rebased to pointer form for views and printers.
#pragma once

#include <zxvariant/record.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zxv {

using Bytes = std::vector<unsigned char>;

// Frees a record block handed out by the library.
struct RecordDeleter {
  void operator()(ZxVariant* record) const;
};
using RecordPtr = std::unique_ptr<ZxVariant, RecordDeleter>;

// Frees a text handed out by the library.
struct TextDeleter {
  void operator()(char16_t* text) const;
};
using TextPtr = std::unique_ptr<char16_t, TextDeleter>;

// Whether `path` stands for standard input or output.
bool IsStdStream(const std::string& path);
// The name used in messages: the path, or "<stdin>" / "<stdout>" for "-".
std::string InputName(const std::string& path);
std::string OutputName(const std::string& path);

// The whole content of a file or of standard input.  Throws CliError naming
// the file ("FILE: cannot open: No such file or directory").
Bytes ReadAll(const std::string& path);
// The same without throwing: false with the reason ("cannot open: ...") in
// *reason.
bool TryReadAll(const std::string& path, Bytes* data, std::string* reason);
// Replaces a file's content, or writes to standard output.  Throws CliError.
void WriteAll(const std::string& path, const void* data, std::size_t size);

// Why `bytes` are not a well-formed zero-based record, or "" when they are.
std::string ZeroBasedProblem(const Bytes& bytes);

// A pointer-form copy of the zero-based record in `bytes`, after the checks
// of ZeroBasedProblem.  Throws CliError "NAME: <problem>".
RecordPtr RecordFromZeroBased(const Bytes& bytes, const std::string& name);
// Reads and loads a .zxv file ("-" for standard input).
RecordPtr LoadRecordFile(const std::string& path);
// The zero-based bytes of a pointer-form record, as a .zxv file holds them.
Bytes ZeroBasedBytes(const ZxVariant* record);

// UTF-8 file content as UTF-16 text (a leading byte order mark is dropped,
// ill-formed sequences become U+FFFD).  A NUL byte would cut the text short
// for the library's readers, so it is refused with CliError naming `name`.
std::u16string DecodeUtf8Text(const Bytes& bytes, const std::string& name);
// NUL-terminated UTF-16 text as UTF-8.
std::string EncodeUtf8(const char16_t* text);
std::string EncodeUtf8(const char16_t* text, std::size_t length);

}  // namespace zxv
