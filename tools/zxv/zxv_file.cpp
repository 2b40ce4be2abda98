#include "tools/zxv/zxv_file.h"

#include <zxvariant/operations.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "record/utf8.h"
#include "tools/zxv/cli.h"

namespace zxv {
namespace {

constexpr std::size_t kHeaderBytes = sizeof(ZxVariant);

std::string SystemReason(int error) { return std::strerror(error); }

// Closes a FILE* that this module opened (never stdin or stdout).
struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

std::uint32_t SizeWord(const Bytes& bytes) {
  std::uint32_t size;
  std::memcpy(&size, bytes.data(), sizeof size);
  return size;
}

}  // namespace

void RecordDeleter::operator()(ZxVariant* record) const { ZxVariantHelper::Delete(record); }

void TextDeleter::operator()(char16_t* text) const { ZxVariantHelper::Delete(text); }

bool IsStdStream(const std::string& path) { return path == "-"; }

std::string InputName(const std::string& path) { return IsStdStream(path) ? "<stdin>" : path; }

std::string OutputName(const std::string& path) { return IsStdStream(path) ? "<stdout>" : path; }

bool TryReadAll(const std::string& path, Bytes* data, std::string* reason) {
  data->clear();
  std::FILE* in = stdin;
  FilePtr owned;
  if (!IsStdStream(path)) {
    errno = 0;
    owned.reset(std::fopen(path.c_str(), "rb"));
    if (!owned) {
      *reason = "cannot open: " + SystemReason(errno);
      return false;
    }
    in = owned.get();
  }
  unsigned char chunk[64 * 1024];
  for (;;) {
    errno = 0;
    std::size_t got = std::fread(chunk, 1, sizeof chunk, in);
    data->insert(data->end(), chunk, chunk + got);
    if (got < sizeof chunk) break;
  }
  if (std::ferror(in)) {
    int error = errno;
    *reason = "cannot read: " + (error ? SystemReason(error) : std::string("read error"));
    data->clear();
    return false;
  }
  return true;
}

Bytes ReadAll(const std::string& path) {
  Bytes data;
  std::string reason;
  if (!TryReadAll(path, &data, &reason)) throw CliError(InputName(path) + ": " + reason);
  return data;
}

void WriteAll(const std::string& path, const void* data, std::size_t size) {
  const std::string name = OutputName(path);
  std::FILE* out = stdout;
  FilePtr owned;
  if (!IsStdStream(path)) {
    errno = 0;
    owned.reset(std::fopen(path.c_str(), "wb"));
    if (!owned) throw CliError(name + ": cannot create: " + SystemReason(errno));
    out = owned.get();
  }
  errno = 0;
  bool ok = std::fwrite(data, 1, size, out) == size;
  ok = std::fflush(out) == 0 && ok;
  int error = errno;
  if (owned) {
    ok = std::fclose(owned.release()) == 0 && ok;
    if (error == 0) error = errno;
  }
  if (!ok) throw CliError(name + ": cannot write: " + (error ? SystemReason(error) : "write error"));
}

std::string ZeroBasedProblem(const Bytes& bytes) {
  if (bytes.empty()) return "empty file, not a record";
  if (bytes.size() < sizeof(std::uint32_t)) {
    return std::to_string(bytes.size()) + " bytes, too short to hold a size word";
  }
  const std::uint32_t size = SizeWord(bytes);
  if (bytes.size() != size) {
    return "length " + std::to_string(bytes.size()) + " bytes differs from the size word " +
           std::to_string(size);
  }
  if (bytes.size() < kHeaderBytes) {
    return std::to_string(bytes.size()) + " bytes, shorter than a " + std::to_string(kHeaderBytes) +
           "-byte record header";
  }
  // The vector's storage is malloc'd, so the header is suitably aligned; the
  // check reads only inside the `size` bytes just proven to be there.
  if (!ZxVariantHelper::ValidateZero(reinterpret_cast<const ZxVariant*>(bytes.data()))) {
    return "fails the zero-based record check (corrupted or not a .zxv record)";
  }
  return "";
}

RecordPtr RecordFromZeroBased(const Bytes& bytes, const std::string& name) {
  std::string problem = ZeroBasedProblem(bytes);
  if (!problem.empty()) throw CliError(name + ": " + problem);
  RecordPtr record(ZxVariantHelper::NewCopy(reinterpret_cast<const ZxVariant*>(bytes.data()),
                                            nullptr, true, false));
  if (!record) throw CliError(name + ": out of memory while loading the record");
  return record;
}

RecordPtr LoadRecordFile(const std::string& path) {
  return RecordFromZeroBased(ReadAll(path), InputName(path));
}

Bytes ZeroBasedBytes(const ZxVariant* record) {
  RecordPtr zero(ZxVariantHelper::NewCopy(record, nullptr, false, true));
  if (!zero) throw CliError("out of memory while writing the record");
  const auto* begin = reinterpret_cast<const unsigned char*>(zero.get());
  return Bytes(begin, begin + zero->size);
}

std::u16string DecodeUtf8Text(const Bytes& bytes, const std::string& name) {
  std::size_t start = 0;
  if (bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) start = 3;
  for (std::size_t i = start; i < bytes.size(); ++i) {
    if (bytes[i] == 0) {
      throw CliError(name + ": contains a NUL byte at offset " + std::to_string(i) +
                     ", not UTF-8 text");
    }
  }
  std::u16string text(bytes.size() - start, u'\0');
  text.resize(ZxVariantHelper::detail::Utf8ToUtf16(
      reinterpret_cast<const char*>(bytes.data()) + start, bytes.size() - start, text.data(),
      text.size()));
  return text;
}

std::string EncodeUtf8(const char16_t* text, std::size_t length) {
  return ZxVariantHelper::detail::Utf16ToUtf8(text, length);
}

std::string EncodeUtf8(const char16_t* text) {
  if (text == nullptr) return std::string();
  // Counted through memcpy: record texts may lie at odd addresses.
  std::size_t length = 0;
  for (;;) {
    char16_t unit;
    std::memcpy(&unit, reinterpret_cast<const char*>(text) + 2 * length, sizeof unit);
    if (unit == 0) break;
    ++length;
  }
  return EncodeUtf8(text, length);
}

}  // namespace zxv
