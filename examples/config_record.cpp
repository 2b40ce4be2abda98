// Builds a service configuration as a ZxVariant record, checks it, sends it
// through the zero-based (transport) form and back, and prints a summary.
//
// The program exits with status 0 only when every check passes; any failure
// is reported on stderr with what was expected.

#include <zxvariant/zxvariant.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

using namespace ZxVariantHelper;

namespace {

// ---------------------------------------------------------------------------
// Ownership helpers: builders and blocks are freed by the library's Delete.

struct BuilderDeleter {
  void operator()(ZxvBase* builder) const { Delete(builder); }
};
struct BlockDeleter {
  void operator()(ZxVariant* block) const { Delete(block); }
};
using BuilderPtr = std::unique_ptr<ZxvBase, BuilderDeleter>;
using BlockPtr = std::unique_ptr<ZxVariant, BlockDeleter>;

// The New* functions answer null when memory runs out.
template <typename T>
T* Require(T* builder) {
  if (builder == nullptr) throw std::runtime_error("out of memory while creating a builder");
  return builder;
}

// Appends a freshly made child; the list owns it afterwards.  A refused
// append leaves the child unowned, so it is freed here before rethrowing.
template <typename T>
T* Add(ZxvList* list, T* child) {
  Require(child);
  try {
    list->Append(child);
  } catch (...) {
    Delete(static_cast<ZxvBase*>(child));
    throw;
  }
  return child;
}

// Attaches a freshly made attribute; same ownership rule as Add.
void Attach(ZxvBase* owner, ZxvBase* attribute) {
  Require(attribute);
  try {
    owner->AppendAttribute(attribute);
  } catch (...) {
    Delete(attribute);
    throw;
  }
}

// ---------------------------------------------------------------------------
// Text output.  Record strings may sit at odd addresses, so every unit is
// read with memcpy.

char16_t UnitAt(const char16_t* text, std::uint32_t index) {
  char16_t unit;
  std::memcpy(&unit, reinterpret_cast<const char*>(text) + 2 * std::size_t{index}, sizeof unit);
  return unit;
}

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD.
std::string ToUtf8(const char16_t* text, std::uint32_t length) {
  std::string out;
  if (text == nullptr) return out;
  for (std::uint32_t i = 0; i < length; ++i) {
    char32_t c = UnitAt(text, i);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length) {
      const char32_t low = UnitAt(text, i + 1);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      } else {
        c = 0xFFFD;
      }
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::string ToUtf8(const ZxvStringView& s) { return ToUtf8(s.Str(), s.Length()); }

// A NUL-terminated text of the library (type names).
std::string ToUtf8(const char16_t* text) {
  if (text == nullptr) return "(unknown)";
  std::uint32_t length = 0;
  while (UnitAt(text, length) != 0) ++length;
  return ToUtf8(text, length);
}

std::string TypeName(ZxVariant::TypeCodes type) { return ToUtf8(TypeCodeImage(type)); }

// ---------------------------------------------------------------------------
// The configuration.

constexpr int kServerPort = 5432;
constexpr double kTimeoutSeconds = 2.5;
constexpr long long kDiskQuota = 17179869184LL;  // 16 GiB, beyond 32 bits
constexpr int kAdminPort = 8443;
// Odd length on purpose: everything after it in the block is unaligned.
constexpr std::array<unsigned char, 7> kSalt = {0x5a, 0x78, 0x56, 0x01, 0x9e, 0x33, 0xc4};
constexpr std::array<unsigned char, 8> kFingerprint = {0xde, 0xad, 0xbe, 0xef, 0x10, 0x20, 0x30, 0x40};

// Opaque handle carried as a Register value; never dereferenced.
void* const kHandle = reinterpret_cast<void*>(std::uintptr_t{0xC0FFEE});

ZxvList* AddListener(ZxvList* listeners, const char16_t* name, const char16_t* bind, int port) {
  ZxvList* listener = Add(listeners, NewList(u"listener"));
  Attach(listener, NewString(u"name", name, 0));
  Add(listener, NewString(u"bind", bind, 0));
  Add(listener, NewInt(u"port", port));
  Add(listener, NewBool(u"enabled", true));
  return listener;
}

// Builds the whole configuration tree; the caller owns the returned root.
BuilderPtr BuildConfiguration() {
  BuilderPtr root(Require(NewList(u"config")));
  auto* config = static_cast<ZxvList*>(root.get());
  Attach(config, NewString(u"schema", u"1.2", 0));
  Attach(config, NewString(u"origin", u"/etc/zxv/service.conf", 0));

  ZxvList* server = Add(config, NewList(u"server"));
  Attach(server, NewString(u"role", u"primary", 0));
  Add(server, NewString(u"host", u"db.internal.example", 0));
  Add(server, NewInt(u"port", kServerPort));
  Add(server, NewBool(u"tls", true));
  Add(server, NewFloat(u"timeout", kTimeoutSeconds));
  Add(server, NewRegister(u"handle", kHandle));
  Add(server, NewNull(u"proxy"));  // explicitly "no proxy"

  ZxvList* listeners = Add(config, NewList(u"listeners"));
  AddListener(listeners, u"public", u"0.0.0.0", 443);
  AddListener(listeners, u"admin", u"127.0.0.1", kAdminPort);

  ZxvList* limits = Add(config, NewList(u"limits"));
  Add(limits, NewInt64(u"disk_quota", kDiskQuota));
  Add(limits, NewInt(u"workers", 8));
  Add(limits, NewFloat(u"cpu_share", 0.75));

  ZxvList* security = Add(config, NewList(u"security"));
  ZxvBuffer* salt = Add(security, NewBuffer(u"salt", kSalt.data(), static_cast<int>(kSalt.size())));
  Attach(salt, NewString(u"encoding", u"raw", 0));
  ZxvBuffer* fingerprint =
      Add(security, NewBuffer(u"fingerprint", kFingerprint.data(), static_cast<int>(kFingerprint.size())));
  Attach(fingerprint, NewString(u"algorithm", u"truncated-sha256", 0));
  ZxvString* banner = Add(security, NewString(u"banner", u"Authorised use only \u2014 caf\u00e9 \U0001F512", 0));
  Attach(banner, NewString(u"lang", u"en", 0));

  // An unnamed, empty list: a placeholder for plugins added later.
  Add(config, NewList(nullptr));
  return root;
}

// ---------------------------------------------------------------------------
// Checks.

int g_failures = 0;

void Check(bool ok, const std::string& what) {
  if (!ok) {
    std::fprintf(stderr, "zxv_config_example: FAILED: %s\n", what.c_str());
    ++g_failures;
  }
}

struct Stats {
  unsigned nodes = 0;
  unsigned attributes = 0;
  unsigned depth = 0;
  std::array<unsigned, 9> perType{};
};

// Reads entry `index` of an entry array; entries may be unaligned.
const ZxVariant* EntryAt(const ZxVariant::List& list, std::uint32_t index) {
  const ZxVariant* const* items = list.items;
  const ZxVariant* entry = nullptr;
  std::memcpy(&entry, reinterpret_cast<const char*>(items) + sizeof(void*) * std::size_t{index}, sizeof entry);
  return entry;
}

void Count(Stats& stats, ZxvView node, unsigned depth) {
  ++stats.nodes;
  if (depth > stats.depth) stats.depth = depth;
  const auto code = static_cast<std::uint32_t>(node.Type());
  if (code < stats.perType.size()) ++stats.perType[code];
}

// Visits every node below `node` (children and attributes), counting them and
// checking that counts, entry arrays, next chains and name lookups agree.
void Walk(ZxvView node, unsigned depth, Stats& stats) {
  Count(stats, node, depth);
  const std::string where = "'" + ToUtf8(node.Name()) + "'";

  const ZxVariant::List& attributes = node.Attributes();
  ZxvView chained = attributes.count > 0 ? ZxvView(EntryAt(attributes, 0)) : ZxvView();
  for (std::uint32_t i = 0; i < attributes.count; ++i) {
    ZxvView attribute(EntryAt(attributes, i));
    ++stats.attributes;
    Check(!attribute.IsTheNull(), "attribute entry " + std::to_string(i) + " of " + where + " is null");
    Check(static_cast<const ZxVariant*>(attribute) == static_cast<const ZxVariant*>(chained),
          "attribute entry " + std::to_string(i) + " of " + where + " disagrees with the next chain");
    // Names are unique within this configuration, so lookup finds the same node.
    std::u16string name(attribute.Name().Length(), u'\0');
    for (std::uint32_t k = 0; k < name.size(); ++k) name[k] = UnitAt(attribute.Name().Str(), k);
    Check(static_cast<const ZxVariant*>(node.AttributeValue(name.c_str())) ==
              static_cast<const ZxVariant*>(attribute),
          "AttributeValue(" + ToUtf8(name.data(), static_cast<std::uint32_t>(name.size())) + ") of " + where);
    Walk(attribute, depth + 1, stats);
    chained = chained.Next();
  }
  Check(chained.IsTheNull(), "attribute chain of " + where + " is longer than its count");

  if (node.IsList()) {
    int children = 0;
    for (ZxvView child = node.First(); !child.IsTheNull(); child = child.Next()) {
      Check(static_cast<const ZxVariant*>(node[children]) == static_cast<const ZxVariant*>(child),
            "child " + std::to_string(children) + " of " + where + " differs between index and next chain");
      Walk(child, depth + 1, stats);
      ++children;
    }
    Check(children == node.ListValueSize(), "child count of " + where + ": walked " + std::to_string(children) +
                                                ", list says " + std::to_string(node.ListValueSize()));
  }
}

bool SameBytes(const ZxVariant::Buffer& buffer, const unsigned char* data, std::size_t size) {
  return buffer.size == size && buffer.data != nullptr && std::memcmp(buffer.data, data, size) == 0;
}

// Reads the values back through views and compares them with what was built.
void CheckValues(const ZxVariant* record, const char* label) {
  const std::string in = std::string(" (") + label + ")";
  ZxvView config(record);
  ZxvView server = config[u"server"];
  Check(server.IsList(), "server is a list" + in);
  Check(server[u"port"].Int() == kServerPort, "server.port" + in);
  Check(server[u"host"].String() == ZxvStringView(u"db.internal.example"), "server.host" + in);
  Check(server[u"tls"].Bool(), "server.tls" + in);
  Check(server[u"timeout"].Float() == kTimeoutSeconds, "server.timeout" + in);
  Check(server[u"handle"].Register() == kHandle, "server.handle" + in);
  Check(server[u"proxy"].IsNull() && !server[u"proxy"].IsTheNull(), "server.proxy is a Null node" + in);
  Check(server.AttributeValue(u"role").String() == ZxvStringView(u"primary"), "server@role" + in);
  Check(config[u"limits"][u"disk_quota"].Int64() == kDiskQuota, "limits.disk_quota" + in);
  Check(config[u"security"][u"salt"].IsBuffer() &&
            SameBytes(config[u"security"][u"salt"].Buffer(), kSalt.data(), kSalt.size()),
        "security.salt" + in);
  Check(SameBytes(config[u"security"][u"fingerprint"].Buffer(), kFingerprint.data(), kFingerprint.size()),
        "security.fingerprint" + in);
  ZxvView admin = config[u"listeners"].FindItemWithAttributeValue(u"name", u"admin");
  Check(admin[u"port"].Int() == kAdminPort, "listener with name=admin has port 8443" + in);
  Check(config[u"no_such_entry"].IsTheNull() && config[u"no_such_entry"].Int() == 0,
        "a missing entry reads as theNull" + in);
}

void PrintSummary(const ZxVariant* record, const Stats& stats) {
  ZxvView config(record);
  std::printf("configuration record '%s'\n", ToUtf8(config.Name()).c_str());
  std::printf("  total bytes : %u\n", config.Size());
  std::printf("  nodes       : %u (of which %u attributes)\n", stats.nodes, stats.attributes);
  std::printf("  depth       : %u\n", stats.depth);
  std::printf("  nodes per type:\n");
  for (std::uint32_t code = 0; code < stats.perType.size(); ++code) {
    std::printf("    %-9s %u\n", TypeName(static_cast<ZxVariant::TypeCodes>(code)).c_str(), stats.perType[code]);
  }
  ZxvView server = config[u"server"];
  std::printf("  schema           : %s\n", ToUtf8(config.AttributeValue(u"schema").String()).c_str());
  std::printf("  server.host      : %s\n", ToUtf8(server[u"host"].String()).c_str());
  std::printf("  server.port      : %d\n", server[u"port"].Int());
  std::printf("  server.tls       : %s\n", server[u"tls"].Bool() ? "true" : "false");
  std::printf("  server.timeout   : %.2f s\n", server[u"timeout"].Float());
  std::printf("  limits.disk_quota: %lld bytes\n", config[u"limits"][u"disk_quota"].Int64());
  std::printf("  security.banner  : %s\n", ToUtf8(config[u"security"][u"banner"].String()).c_str());
  std::printf("  listeners        :");
  for (ZxvView listener = config[u"listeners"].First(); !listener.IsTheNull(); listener = listener.Next()) {
    std::printf(" %s=%s:%d", ToUtf8(listener.AttributeValue(u"name").String()).c_str(),
                ToUtf8(listener[u"bind"].String()).c_str(), listener[u"port"].Int());
  }
  std::printf("\n");
}

int Run() {
  BuilderPtr root = BuildConfiguration();

  // Lay the tree out into one malloc'd block.
  BlockPtr record(root->BuildNewZxVariant(nullptr));
  if (!record) throw std::runtime_error("out of memory while laying out the record");
  Check(record->size == root->ComputeZxVariantSize(), "block size equals ComputeZxVariantSize()");
  Check(Validate(record.get()), "Validate(record)");
  Check(ExamineBase::Examine(record.get()) == ExamineBase::PointerForm, "the record is recognised as pointer form");

  // The builders themselves read like the record through a view (by
  // position only: builders are never searched by name).
  Check(ZxvView(root.get()).First().First().Next().Int() == kServerPort, "server.port read from the builders");

  Stats stats;
  Walk(ZxvView(record.get()), 1, stats);
  for (std::uint32_t code = 0; code < stats.perType.size(); ++code) {
    Check(stats.perType[code] > 0, "the record holds a node of type " +
                                       TypeName(static_cast<ZxVariant::TypeCodes>(code)));
  }
  CheckValues(record.get(), "built record");

  // To the zero-based form used for transport and storage ...
  BlockPtr zero(NewCopy(record.get(), nullptr, false, true));
  if (!zero) throw std::runtime_error("out of memory while copying to the zero-based form");
  Check(zero->size == record->size, "the zero-based copy has the record's size");
  Check(ValidateZero(zero.get()), "ValidateZero(zero-based copy)");
  Check(ExamineBase::Examine(zero.get()) == ExamineBase::ZeroBased, "the copy is recognised as zero-based");
  ZxvZView zview(AsZeroBased(zero.get()));
  Check(zview[u"server"][u"port"].Int() == kServerPort, "server.port read in zero-based form");

  // ... and back to pointer form at a new address.
  BlockPtr back(NewCopy(zero.get(), nullptr, true, false));
  if (!back) throw std::runtime_error("out of memory while copying back to pointer form");
  Check(Validate(back.get()), "Validate(round-tripped record)");
  Check(IsEqual(record.get(), back.get()), "IsEqual(record, round-tripped record)");
  CheckValues(back.get(), "round-tripped record");

  PrintSummary(record.get(), stats);

  if (g_failures != 0) {
    std::fprintf(stderr, "zxv_config_example: %d check(s) failed\n", g_failures);
    return 1;
  }
  std::printf("all checks passed\n");
  return 0;
}

}  // namespace

int main() {
  try {
    return Run();
  } catch (ZxvIllegalOperationException*) {
    std::fprintf(stderr, "zxv_config_example: a builder operation was refused\n");
  } catch (const std::exception& e) {
    std::fprintf(stderr, "zxv_config_example: %s\n", e.what());
  }
  return 1;
}
