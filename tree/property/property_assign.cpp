// assignData: writing a record into a container's tree at a path.
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "record/unaligned.h"
#include "tree/basic_utils_internal.h"
#include "tree/property/property_internal.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/path.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty {

using namespace BasicUtils;
using internal::Access;
using internal::CallHook;
using internal::IsList;

namespace internal {

// One assignData call: its hooks and the path of the element at hand.
struct AssignRun {
  AssignmentOperator& op;
  ValidatorFunctor* validator;
  PathElements path;
};

}  // namespace internal

namespace {

struct ReleaseRecord {
  void operator()(ZxVariant* record) const noexcept { internal::ReleaseQuietly(record); }
};
using OwnedRecord = std::unique_ptr<ZxVariant, ReleaseRecord>;

// Whether every scalar of the value's tree holds a type the list utilities
// can copy.
bool Copyable(const ZxVariant* value) {
  std::vector<const ZxVariant*> pending{value};
  while (!pending.empty()) {
    const ZxVariant* record = pending.back();
    pending.pop_back();
    if (!IsList(record)) {
      if (!internal::IsCopyableValue(record->type)) return false;
      continue;
    }
    for (const ZxVariant* child = findNodeInAList(record, 0); child != nullptr; child = child->next) {
      pending.push_back(child);
    }
  }
  return true;
}

bool HasName(const ZxVariant* record) { return record->name.length != 0 && record->name.str != nullptr; }

// The name with A-Z folded, the key under which children of one name are
// counted.
std::u16string FoldedName(const ZxVariant* record) {
  std::u16string key;
  key.reserve(record->name.length);
  for (std::uint32_t i = 0; i < record->name.length; ++i) {
    key.push_back(BasicUtils::internal::Fold(detail::LoadUnit(record->name.str, i)));
  }
  return key;
}

}  // namespace

int PropertyContainer::assignData(SmartWcharPtr path, const ZxVariant* value) {
  AssignmentOperator copyValue;
  return assignPath(path, value, &copyValue, nullptr);
}

int PropertyContainer::assignData(SmartWcharPtr path, const ZxVariant* value,
                                  AssignmentOperator& op) {
  return assignPath(path, value, &op, nullptr);
}

int PropertyContainer::assignData(SmartWcharPtr path, const ZxVariant* value,
                                  ValidatorFunctor& validator) {
  AssignmentOperator copyValue;
  return assignPath(path, value, &copyValue, &validator);
}

int PropertyContainer::assignPath(const SmartWcharPtr& path, const ZxVariant* value,
                                  AssignmentOperator* op, ValidatorFunctor* validator) {
  if (value == nullptr) return Result::InvalidArgument;
  ZxVariant* list = getData();
  if (!IsList(list)) return Result::NoData;
  return internal::Guarded(static_cast<int>(Result::OutOfMemory), [&]() -> int {
    if (!Copyable(value)) return Result::UnsupportedType;
    const std::vector<XPath::XPathComponent> steps = getPathComponents(path);
    internal::PathWalk walk = internal::FollowPath(list, steps);
    if (walk.code == Result::NotAContainer) return walk.code;
    const bool exists = walk.code == Result::Ok;
    ZxVariant* target = exists ? walk.element : nullptr;
    // The List that holds the target or, when it is missing, the last List
    // that exists on the way to it.
    ZxVariant* holder = exists ? walk.holder : walk.element;
    if (exists && IsList(target) != IsList(value)) return Result::TypeMismatch;
    for (std::size_t i = walk.steps; i < steps.size(); ++i) {
      if (steps[i].IsIndex()) return Result::NotFound;  // a position cannot be created
    }
    // Creates the missing steps [walk.steps, end) as sub-containers.
    auto createSteps = [&](std::size_t end) {
      ZxVariant* at = holder;
      for (std::size_t i = walk.steps; at != nullptr && i < end; ++i) {
        at = addContainer(at, steps[i].Name().c_str(), nullptr, nullptr);
      }
      return at;
    };

    if (IsList(value)) {
      // Merged from a private copy: the value may lie inside this very tree,
      // where the merge would read what it writes.
      OwnedRecord copy(copyZxVariant(value));
      if (copy == nullptr) return Result::OutOfMemory;
      internal::AssignRun run{*op, validator, steps};
      int code = traverseAndAssign(run, copy.get(), target, true);
      if (code != Result::Ok) return code;
      if (target == nullptr) target = createSteps(steps.size());
      if (target == nullptr) return Result::OutOfMemory;
      return traverseAndAssign(run, copy.get(), target, false);
    }

    AProperty proposed = Access::view(const_cast<ZxVariant*>(value), nullptr, nullptr);
    if (validator != nullptr) {
      AProperty current = Access::view(target, exists ? this : nullptr, exists ? holder : nullptr);
      SmartWcharPtr text(Path(steps).Text());
      int code = CallHook([&] { return (*validator)(current, proposed, text); });
      if (code != Result::Ok) return code;
    }
    if (exists) {
      AProperty existing = Access::view(target, this, holder);
      internal::HookContext context(*this, steps, holder, false);
      return CallHook([&] { return (*op)(existing, proposed, context); });
    }
    // A new scalar is written before anything is created, so that a refusal
    // leaves the tree as it was.
    OwnedRecord fresh(internal::NewNamedRecord(steps.back().Name().c_str()));
    if (fresh == nullptr) return Result::OutOfMemory;
    AProperty created = Access::view(fresh.get(), nullptr, nullptr);
    bool holderExists = walk.steps + 1 == steps.size();
    internal::HookContext context(*this, steps, holderExists ? holder : nullptr, true);
    int code = CallHook([&] { return (*op)(created, proposed, context); });
    if (code != Result::Ok) return code;
    ZxVariant* parent = createSteps(steps.size() - 1);
    if (parent == nullptr) return Result::OutOfMemory;
    return addElement(parent, fresh.release(), nullptr, nullptr) ? Result::Ok : Result::OutOfMemory;
  });
}

int PropertyContainer::traverseAndAssign(internal::AssignRun& run, const ZxVariant* source,
                                         ZxVariant* target, bool checkOnly) {
  struct Frame {
    const ZxVariant* next;  // the source child to take next
    ZxVariant* target;      // the List receiving them; null while still to be created
    std::size_t depth;      // the path's length at this List
    std::map<std::u16string, unsigned int> taken{};  // children taken, by folded name
    ZxVariant* lastUnnamed = nullptr;  // the target's unnamed child matched last
    unsigned int lastUnnamedAt = 0;
    bool unnamedLeft = true;  // whether an unnamed child of the target may still match
    unsigned int added = 0;   // children added (or, checking, to be added) so far
  };
  const std::size_t base = run.path.size();
  std::vector<Frame> frames;
  frames.push_back(Frame{findNodeInAList(source, 0), target, base});
  int code = Result::Ok;
  while (code == Result::Ok && !frames.empty()) {
    Frame& frame = frames.back();
    run.path.erase(run.path.begin() + static_cast<std::ptrdiff_t>(frame.depth), run.path.end());
    const ZxVariant* child = frame.next;
    if (child == nullptr) {
      frames.pop_back();
      continue;
    }
    frame.next = child->next;

    // The k-th child of a name matches the target's k-th child of that name;
    // unnamed children match the target's unnamed children in order.
    const bool named = HasName(child);
    const char16_t* name = named ? child->name.str : nullptr;
    ZxVariant* match = nullptr;
    if (named) {
      unsigned int k = frame.taken[FoldedName(child)]++;
      if (frame.target != nullptr) match = findNodeInAList(&frame.target->value.list, name, k);
      run.path.emplace_back(std::u16string(name, child->name.length));
    } else {
      unsigned int position = 0;
      if (frame.target != nullptr && frame.unnamedLeft) {
        match = internal::NextUnnamedChild(frame.target, frame.lastUnnamed, frame.lastUnnamedAt,
                                           &position);
        frame.unnamedLeft = match != nullptr;
        if (match != nullptr) {
          frame.lastUnnamed = match;
          frame.lastUnnamedAt = position;
        }
      }
      if (match == nullptr) {
        // Where it will be added: checking adds nothing, so count ahead.
        position = (frame.target != nullptr ? frame.target->value.list.count : 0) +
                   (checkOnly ? frame.added : 0);
      }
      run.path.emplace_back(static_cast<int>(position));
    }

    if (IsList(child)) {
      if (match != nullptr && !IsList(match)) return Result::TypeMismatch;
      ZxVariant* into = match;
      if (match == nullptr) {
        ++frame.added;
        if (!checkOnly) {
          into = addContainer(frame.target, name, nullptr, nullptr);
          if (into == nullptr) return Result::OutOfMemory;
        }
      }
      frames.push_back(Frame{findNodeInAList(child, 0), into, run.path.size()});
      continue;  // `frame` is not valid any more
    }
    if (match != nullptr && IsList(match)) return Result::TypeMismatch;
    if (match == nullptr) ++frame.added;

    AProperty proposed = Access::view(const_cast<ZxVariant*>(child), nullptr, nullptr);
    if (checkOnly) {
      if (run.validator == nullptr) continue;
      AProperty current =
          Access::view(match, match != nullptr ? this : nullptr, match != nullptr ? frame.target : nullptr);
      SmartWcharPtr text(Path(run.path).Text());
      code = CallHook([&] { return (*run.validator)(current, proposed, text); });
      continue;
    }
    if (match != nullptr) {
      AProperty existing = Access::view(match, this, frame.target);
      internal::HookContext context(*this, run.path, frame.target, false);
      code = CallHook([&] { return run.op(existing, proposed, context); });
      continue;
    }
    OwnedRecord fresh(internal::NewNamedRecord(name));
    if (fresh == nullptr) return Result::OutOfMemory;
    AProperty created = Access::view(fresh.get(), nullptr, nullptr);
    internal::HookContext context(*this, run.path, frame.target, true);
    code = CallHook([&] { return run.op(created, proposed, context); });
    if (code == Result::Ok && !addElement(frame.target, fresh.release(), nullptr, nullptr)) {
      code = Result::OutOfMemory;
    }
  }
  run.path.erase(run.path.begin() + static_cast<std::ptrdiff_t>(base), run.path.end());
  return code;
}

}  // namespace ZxVariantHelper::BOProperty
