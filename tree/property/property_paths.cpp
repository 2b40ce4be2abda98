// Path lookups of PropertyContainer: get, find, operator[], erase, seek and
// queryData.
#include <exception>
#include <new>
#include <stdexcept>
#include <vector>

#include "tree/property/property_internal.h"
#include "zxvariant/basic_utils.h"
#include "zxvariant/path.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty {

using namespace BasicUtils;
using internal::Access;
using internal::Guarded;
using internal::IsList;

namespace internal {

ZxVariant* ChildAt(const ZxVariant* list, const PathElement& step) {
  if (step.IsIndex()) return findNodeInAList(list, step.Index());
  ZxVariant* found = nullptr;
  findNodeInAList(list, step.Name().c_str(), nullptr, &found);
  return found;
}

PathWalk FollowPath(ZxVariant* list, const PathElements& path) {
  PathWalk walk{Result::Ok, list, nullptr, 0};
  for (const PathElement& step : path) {
    if (!IsList(walk.element)) {
      walk.code = Result::NotAContainer;
      return walk;
    }
    ZxVariant* child = ChildAt(walk.element, step);
    if (child == nullptr) {
      walk.code = Result::NotFound;
      return walk;
    }
    walk.holder = walk.element;
    walk.element = child;
    ++walk.steps;
  }
  return walk;
}

}  // namespace internal

namespace {

// The first element `path` leads to from `start` or, failing that, from a
// List below it, tried in document order; it must be a List exactly when
// `wantList`.
bool Search(ZxVariant* start, const PathElements& path, bool wantList, ZxVariant** found,
            ZxVariant** holder) {
  auto tryFrom = [&](ZxVariant* list) {
    internal::PathWalk walk = internal::FollowPath(list, path);
    if (walk.code != Result::Ok || IsList(walk.element) != wantList) return false;
    *found = walk.element;
    *holder = walk.holder;
    return true;
  };
  if (tryFrom(start)) return true;
  // One cursor per open List: the next of its children to visit.
  std::vector<ZxVariant*> cursors{findNodeInAList(start, 0)};
  while (!cursors.empty()) {
    ZxVariant* at = cursors.back();
    if (at == nullptr) {
      cursors.pop_back();
      continue;
    }
    cursors.back() = at->next;
    if (!IsList(at)) continue;
    if (tryFrom(at)) return true;
    cursors.push_back(findNodeInAList(at, 0));
  }
  return false;
}

}  // namespace

std::vector<XPath::XPathComponent> PropertyContainer::getPathComponents(
    const SmartWcharPtr& path) const {
  return Path(path.get()).Elements();
}

int PropertyContainer::searchNode(const std::vector<XPath::XPathComponent>& components,
                                  ZxVariant** found, ZxVariant** parentRecord) const {
  ZxVariant* list = getData();
  if (!IsList(list)) return Result::NoData;
  internal::PathWalk walk = internal::FollowPath(list, components);
  if (walk.code != Result::Ok) return walk.code;
  *found = walk.element;
  *parentRecord = walk.holder;
  return Result::Ok;
}

bool PropertyContainer::lookup(const SmartWcharPtr& path, bool search, Want want,
                               ZxVariant** found, ZxVariant** holder) const {
  return Guarded(false, [&] {
    std::vector<XPath::XPathComponent> steps = getPathComponents(path);
    if (steps.empty()) return false;
    if (search) {
      return IsList(getData()) &&
             Search(getData(), steps, want == Want::Container, found, holder);
    }
    if (searchNode(steps, found, holder) != Result::Ok) return false;
    return want == Want::Either || IsList(*found) == (want == Want::Container);
  });
}

SmartPtr<AProperty> PropertyContainer::get(SmartWcharPtr path) {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  if (!lookup(path, false, Want::Scalar, &found, &holder)) return nullptr;
  return Access::handOutProperty(*this, found, holder);
}

SmartPtr<PropertyContainer> PropertyContainer::getContainer(SmartWcharPtr path) {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  if (!lookup(path, false, Want::Container, &found, &holder)) return nullptr;
  return Access::handOutContainer(*this, found, holder);
}

SmartPtr<AProperty> PropertyContainer::find(SmartWcharPtr path) {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  if (!lookup(path, true, Want::Scalar, &found, &holder)) return nullptr;
  return Access::handOutProperty(*this, found, holder);
}

SmartPtr<PropertyContainer> PropertyContainer::findContainer(SmartWcharPtr path) {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  if (!lookup(path, true, Want::Container, &found, &holder)) return nullptr;
  return Access::handOutContainer(*this, found, holder);
}

ZxvToAny PropertyContainer::operator[](SmartWcharPtr path) const {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  if (!lookup(path, false, Want::Either, &found, &holder)) return ZxvToAny::NullZxv;
  return IsList(found) ? ZxvToAny::ComplexZxv : ZxvToAny(found);
}

bool PropertyContainer::erase(SmartWcharPtr path) {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  if (!lookup(path, false, Want::Either, &found, &holder)) return false;
  ZxVariant* prev = nullptr;
  findNodeInAList(holder, found, &prev);
  return unlinkAndDelete(holder, prev, found);
}

bool PropertyContainer::seek(SmartWcharPtr path) const {
  ZxVariant* found = nullptr;
  ZxVariant* holder = nullptr;
  return lookup(path, false, Want::Either, &found, &holder);
}

// ---- queryData ---------------------------------------------------------------------

int PropertyContainer::queryData(SmartWcharPtr path, ZxVariant** out, bool flat,
                                 void* (*alloc)(unsigned int)) const {
  return queryPath(path, out, nullptr, flat, alloc);
}

int PropertyContainer::queryData(SmartWcharPtr path, ZxVariant** out, DataValidator& validator,
                                 bool flat, void* (*alloc)(unsigned int)) const {
  return queryPath(path, out, &validator, flat, alloc);
}

int PropertyContainer::queryPath(const SmartWcharPtr& path, ZxVariant** out,
                                 DataValidator* validator, bool flat,
                                 void* (*alloc)(unsigned int)) const {
  if (out == nullptr) return Result::InvalidArgument;
  *out = nullptr;
  return Guarded(static_cast<int>(Result::OutOfMemory), [&]() -> int {
    std::vector<XPath::XPathComponent> steps = getPathComponents(path);
    ZxVariant* found = nullptr;
    ZxVariant* holder = nullptr;
    int code = searchNode(steps, &found, &holder);
    if (code != Result::Ok) return code;
    if (validator != nullptr) {
      internal::HookContext context(const_cast<PropertyContainer&>(*this), steps, holder, false);
      code = internal::CallHook([&] { return (*validator)(found, context); });
      if (code != Result::Ok) return code;
    }
    ZxVariant* copy = nullptr;
    if (!flat) {
      copy = copyZxVariant(found);
    } else {
      // A size of 0 means a type code the layout does not know (or a block
      // past 4 GiB): nothing to allocate for.
      if (computeZxVariantSize(found) == 0) return Result::UnsupportedType;
      try {
        copy = buildZxVariantForTransport(found, alloc);
      } catch (const std::logic_error&) {  // an unknown type code further down
        return Result::UnsupportedType;
      }
    }
    if (copy == nullptr) return Result::OutOfMemory;
    *out = copy;
    return Result::Ok;
  });
}

}  // namespace ZxVariantHelper::BOProperty
