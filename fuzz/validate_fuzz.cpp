// Fuzz target for the structural checks and the rebase walk.
//
// The input becomes a block of exactly `size` bytes (the size word is cut
// down to the input length), so any read past what the root claims is an
// AddressSanitizer report.  All three checks run, and a block that
// ValidateZero accepts is rebased to pointer form on a copy: the sanitizers
// prove that the walk stays inside the block and terminates.  Nothing is
// asserted about the rebased copy: the check does not look for overlaps, so
// two lists of an accepted zero-based block may share an entry slot, which
// no pointer-form block can express.
//
// Built with -fsanitize=fuzzer this is a libFuzzer target.  Built with
// ZXV_FUZZ_STANDALONE_MAIN it is a plain program that runs deterministic
// mutations of built records in both forms.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zxvariant/zxvariant.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
  using namespace ZxVariantHelper;
  if (length < 4) return 0;
  std::uint32_t size;
  std::memcpy(&size, data, 4);
  if (size > length) size = static_cast<std::uint32_t>(length);
  const std::size_t allocated = size < 4 ? 4 : size;
  auto* block = static_cast<ZxVariant*>(std::malloc(allocated));
  std::memcpy(block, data, allocated);
  std::memcpy(block, &size, 4);
  (void)Validate(block);
  if (size >= 64) {
    // A base that makes the root's name slot plausible, whatever its form.
    std::uint64_t name;
    std::memcpy(&name, reinterpret_cast<const char*>(block) + 16, 8);
    (void)ValidateAtBase(block, reinterpret_cast<const void*>(static_cast<std::uintptr_t>(name - 64)));
    if (ExamineBase::Examine(block) > ExamineBase::Foreign) std::abort();
  }
  if (ValidateZero(block)) {
    auto* local = static_cast<ZxVariant*>(std::malloc(size));
    std::memcpy(local, block, size);
    RebaseFromZero(local);
    std::free(local);
  }
  std::free(block);
  return 0;
}

#ifdef ZXV_FUZZ_STANDALONE_MAIN

#include <random>
#include <vector>

int main() {
  using namespace ZxVariantHelper;
  int runs = 0;
  // Seeds in both forms, named and unnamed inner lists; then bit flips,
  // interesting words and truncations of each.
  static const std::uint32_t kInteresting[] = {0, 1, 63, 64, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  std::mt19937 rng(12345);
  for (int seed = 0; seed < 4; ++seed) {
    ZxvList* root = NewList(u"root");
    root->AppendAttribute(NewString(u"v", u"1", 0));
    root->Append(NewBuffer(u"odd", "\x01\x02\x03", 3));
    root->Append(NewInt(u"port", 443));
    ZxvList* inner = NewList(seed % 2 ? u"inner" : nullptr);
    inner->Append(NewString(nullptr, u"text", 0))->AppendAttribute(NewInt64(u"big", 1LL << 40));
    inner->Append(NewList(u"empty"));
    inner->Append(NewFloat(u"f", -0.0));
    root->Append(inner);
    root->Append(NewNull(nullptr));
    ZxVariant* record = root->BuildNewZxVariant(nullptr);
    Delete(root);
    if (seed >= 2) RebaseToZero(record);
    const std::uint32_t size = record->size;
    const std::vector<std::uint8_t> original(reinterpret_cast<std::uint8_t*>(record),
                                             reinterpret_cast<std::uint8_t*>(record) + size);
    Delete(record);
    LLVMFuzzerTestOneInput(original.data(), original.size());
    for (int i = 0; i < 1000; ++i, ++runs) {
      std::vector<std::uint8_t> bytes = original;
      for (int edits = 1 + static_cast<int>(rng() % 3); edits > 0 && bytes.size() == size; --edits) {
        const std::size_t at = rng() % (size - 3);
        switch (rng() % 3) {
          case 0: bytes[at] ^= static_cast<std::uint8_t>(1u << (rng() % 8)); break;
          case 1: std::memcpy(&bytes[at], &kInteresting[rng() % 7], 4); break;
          default: bytes.resize(4 + rng() % (size - 4));  // truncated input
        }
      }
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
  }
  std::printf("validate_fuzz_corpus: %d mutations\n", runs);
  return 0;
}

#endif  // ZXV_FUZZ_STANDALONE_MAIN
