// Fuzz target for the structural checks and the rebase walk.
//
// The input becomes a block of exactly `size` bytes (the size word is cut
// down to the input length), so any read past what the root claims is an
// AddressSanitizer report.  All three checks run; a block that ValidateZero
// accepts must, once rebased to its own address, pass Validate and convert
// back to the very same bytes.
//
// Built with -fsanitize=fuzzer this is a libFuzzer target.  Built with
// ZXV_FUZZ_STANDALONE_MAIN it is a plain program: given a directory it runs
// every file in it; given nothing it runs a few thousand deterministic
// mutations of built records.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zxvariant/zxvariant.h"

namespace {

std::uint32_t Load32(const void* p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
std::uint64_t Load64(const void* p) {
  std::uint64_t v;
  std::memcpy(&v, p, 8);
  return v;
}

void Fail(const char* what) {
  std::fprintf(stderr, "validate_fuzz: %s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  using namespace ZxVariantHelper;
  if (length < 4) return 0;
  std::uint32_t size = Load32(data);
  if (size > length) size = static_cast<std::uint32_t>(length);
  const std::size_t allocated = size < 4 ? 4 : size;
  auto* block = static_cast<ZxVariant*>(std::malloc(allocated));
  if (block == nullptr) return 0;
  std::memcpy(block, data, allocated);
  std::memcpy(block, &size, 4);

  (void)Validate(block);
  // A base that makes the root's name slot plausible, whatever its form.
  if (size >= 64) {
    const void* base = reinterpret_cast<const void*>(
        static_cast<std::uintptr_t>(Load64(reinterpret_cast<const char*>(block) + 16) - 64));
    (void)ValidateAtBase(block, base);
    if (ExamineBase::Examine(block) > ExamineBase::Foreign) Fail("Examine out of range");
  }

  if (ValidateZero(block)) {
    auto* local = static_cast<ZxVariant*>(std::malloc(size));
    if (local == nullptr) Fail("out of memory");
    std::memcpy(local, block, size);
    RebaseFromZero(local);
    if (!Validate(local)) Fail("a block accepted by ValidateZero fails Validate after RebaseFromZero");
    if (!ValidateAtBase(local, local)) Fail("ValidateAtBase disagrees with Validate");
    RebaseToZero(local);
    // The root's next is not part of the check; every other byte must return.
    if (std::memcmp(local, block, 56) != 0 ||
        std::memcmp(reinterpret_cast<char*>(local) + 64, reinterpret_cast<char*>(block) + 64, size - 64) != 0)
      Fail("RebaseFromZero then RebaseToZero changed an accepted block");
    std::free(local);
  }
  std::free(block);
  return 0;
}

#ifdef ZXV_FUZZ_STANDALONE_MAIN

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

namespace {

using namespace ZxVariantHelper;

ZxVariant* BuildSeed(int which) {
  ZxvList* root = NewList(u"root");
  root->AppendAttribute(NewString(u"v", u"1", 0));
  root->Append(NewBuffer(u"odd", "\x01\x02\x03", 3));
  root->Append(NewInt(u"port", 443));
  ZxvList* inner = NewList(which % 2 ? u"inner" : nullptr);
  inner->Append(NewString(nullptr, u"text", 0))->AppendAttribute(NewInt64(u"big", 1LL << 40));
  inner->Append(NewList(u"empty"));
  inner->Append(NewFloat(u"f", -0.0));
  root->Append(inner);
  root->Append(NewNull(nullptr));
  root->Append(NewRegister(u"reg", nullptr));
  ZxVariant* record = root->BuildNewZxVariant(nullptr);
  Delete(root);
  return record;
}

void RunFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int RunMutations() {
  static const std::uint32_t kInteresting[] = {0, 1, 63, 64, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  std::mt19937 rng(12345);
  int runs = 0;
  for (int seed = 0; seed < 4; ++seed) {
    ZxVariant* record = BuildSeed(seed);
    if (seed >= 2) RebaseToZero(record);
    const std::uint32_t size = record->size;
    std::vector<std::uint8_t> original(reinterpret_cast<std::uint8_t*>(record),
                                       reinterpret_cast<std::uint8_t*>(record) + size);
    Delete(record);
    LLVMFuzzerTestOneInput(original.data(), original.size());
    for (int i = 0; i < 1000; ++i, ++runs) {
      std::vector<std::uint8_t> bytes = original;
      for (int edits = 1 + static_cast<int>(rng() % 3); edits > 0; --edits) {
        const std::size_t at = rng() % (size - 3);
        switch (rng() % 3) {
          case 0: bytes[at] ^= static_cast<std::uint8_t>(1u << (rng() % 8)); break;
          case 1: std::memcpy(&bytes[at], &kInteresting[rng() % 7], 4); break;
          default: bytes.resize(4 + rng() % (size - 4)); break;  // truncated input
        }
        if (bytes.size() < size) break;
      }
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
  }
  return runs;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[1])) {
      if (!entry.is_regular_file()) continue;
      RunFile(entry.path());
      ++files;
    }
    std::printf("validate_fuzz_corpus: %d files\n", files);
    return 0;
  }
  std::printf("validate_fuzz_corpus: %d mutations\n", RunMutations());
  return 0;
}

#endif  // ZXV_FUZZ_STANDALONE_MAIN
