// Workload 4: relocation.  A record moves between addresses and between the
// pointer and the zero-based form; the physical limit is memcpy of the same
// bytes, timed in the same case right after ZxVariant:
//   NewCopy to zero    NewCopy(record, malloc, pointer -> zero-based)  vs malloc + memcpy + free
//   NewCopy from zero  NewCopy(zero,   malloc, zero-based -> pointer)  vs malloc + memcpy + free
//   Copy to a buffer   Copy into a preallocated block at another address (pointer -> pointer)
//                                                                      vs memcpy into that block
//   Rebase in place    Rebase of one block, alternately to zero and back (one pass per operation)
//                                                                      vs memcpy of its bytes
// The peers' blocks are position-independent (moving one is a memcpy) or
// DOMs of heap nodes that only a deep copy moves.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench_common.h"
#include "zxv_support.h"

namespace zxvbench {
namespace {

constexpr const char* kRelocate = "Relocate";

void Rates(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// malloc + memcpy + free of `bytes` from `source`.
void AddMemcpyNew(const std::string& kase, std::shared_ptr<const ZxVariant> source) {
  Add(kRelocate, kase, "memcpy", [source](benchmark::State& state) {
    state.SetLabel("malloc + memcpy + free");
    const std::size_t bytes = source->size;
    for (auto _ : state) {
      void* copy = std::malloc(bytes);
      std::memcpy(copy, source.get(), bytes);
      benchmark::DoNotOptimize(copy);
      benchmark::ClobberMemory();
      std::free(copy);
    }
    Rates(state, bytes);
  });
}

// memcpy into a block allocated before timing.
void AddMemcpyInto(const std::string& kase, std::shared_ptr<const ZxVariant> source) {
  Add(kRelocate, kase, "memcpy", [source](benchmark::State& state) {
    state.SetLabel("memcpy into a preallocated block");
    const std::size_t bytes = source->size;
    std::unique_ptr<char[]> target(new char[bytes]);
    for (auto _ : state) {
      std::memcpy(target.get(), source.get(), bytes);
      benchmark::DoNotOptimize(target.get());
      benchmark::ClobberMemory();
    }
    Rates(state, bytes);
  });
}

void RegisterData(const std::string& name, std::shared_ptr<const ZxVariant> record) {
  auto zero = std::shared_ptr<const ZxVariant>(ZxVariantHelper::NewCopy(record.get(), nullptr, false, true),
                                               RecordDeleter());

  std::string kase = name + " NewCopy to zero";
  Add(kRelocate, kase, "ZxVariant", [record](benchmark::State& state) {
    RecordPtr check(ZxVariantHelper::NewCopy(record.get(), nullptr, false, true));
    if (!Verified(state, check && ZxVariantHelper::ValidateZero(check.get()), "a valid zero-based copy")) return;
    for (auto _ : state) {
      ZxVariant* copy = ZxVariantHelper::NewCopy(record.get(), nullptr, false, true);
      benchmark::DoNotOptimize(copy);
      ZxVariantHelper::Delete(copy);
    }
    Rates(state, record->size);
  });
  AddMemcpyNew(kase, record);

  kase = name + " NewCopy from zero";
  Add(kRelocate, kase, "ZxVariant", [record, zero](benchmark::State& state) {
    RecordPtr check(ZxVariantHelper::NewCopy(zero.get(), nullptr, true, false));
    const bool ok = check && ZxVariantHelper::Validate(check.get()) && ZxVariantHelper::IsEqual(check.get(), record.get());
    if (!Verified(state, ok, "a valid pointer-form copy equal to the original")) return;
    for (auto _ : state) {
      ZxVariant* copy = ZxVariantHelper::NewCopy(zero.get(), nullptr, true, false);
      benchmark::DoNotOptimize(copy);
      ZxVariantHelper::Delete(copy);
    }
    Rates(state, zero->size);
  });
  AddMemcpyNew(kase, zero);

  kase = name + " Copy to a buffer";
  Add(kRelocate, kase, "ZxVariant", [record](benchmark::State& state) {
    RecordPtr target(static_cast<ZxVariant*>(std::malloc(record->size)));
    ZxVariantHelper::Copy(target.get(), record.get(), false, false);
    const bool ok = ZxVariantHelper::Validate(target.get()) && ZxVariantHelper::IsEqual(target.get(), record.get());
    if (!Verified(state, ok, "a valid copy at the new address, equal to the original")) return;
    for (auto _ : state) {
      ZxVariantHelper::Copy(target.get(), record.get(), false, false);
      benchmark::DoNotOptimize(target.get());
      benchmark::ClobberMemory();
    }
    Rates(state, record->size);
  });
  AddMemcpyInto(kase, record);

  kase = name + " Rebase in place";
  Add(kRelocate, kase, "ZxVariant", [record](benchmark::State& state) {
    state.SetLabel("one pass per operation, alternately to zero-based and back");
    RecordPtr block(ZxVariantHelper::NewCopy(record.get(), nullptr, false, false));
    ZxVariantHelper::RebaseToZero(block.get());
    bool ok = ZxVariantHelper::ValidateZero(block.get());
    ZxVariantHelper::RebaseFromZero(block.get());
    ok = ok && ZxVariantHelper::Validate(block.get()) && ZxVariantHelper::IsEqual(block.get(), record.get());
    if (!Verified(state, ok, "valid in both forms, equal to the original")) return;
    bool toZero = true;
    for (auto _ : state) {
      if (toZero) {
        ZxVariantHelper::RebaseToZero(block.get());
      } else {
        ZxVariantHelper::RebaseFromZero(block.get());
      }
      toZero = !toZero;
      benchmark::ClobberMemory();
    }
    Rates(state, record->size);
  });
  AddMemcpyInto(kase, record);
}

}  // namespace

void RegisterRelocateBenchmarks(const std::vector<Document>& documents) {
  for (const Document& doc : documents) {
    RegisterData(doc.name, std::shared_ptr<const ZxVariant>(RecordFromJson(doc.utf16), RecordDeleter()));
  }
  RegisterData("N=10000 named",
               std::shared_ptr<const ZxVariant>(BuildMixedWithBuilders(MakeMixedTree(10000), true), RecordDeleter()));
  for (const char* peer : {"RapidJSON", "simdjson", "nlohmann"}) {
    NotApplicable(kRelocate, "any", peer, "a DOM of heap nodes has no single block to move: only a deep copy");
  }
  for (const char* peer : {"FlexBuffers", "GVariant", "libbson", "msgpack"}) {
    NotApplicable(kRelocate, "any", peer, "position-independent block: moving it is exactly the memcpy row");
  }
}

}  // namespace zxvbench
