// The hook classes' default behaviour, the context handed to hooks, and the
// names of the result codes.
#include "tree/property/property_internal.h"
#include "zxvariant/path.h"
#include "zxvariant/property.h"

namespace ZxVariantHelper::BOProperty {

IPropertyContext::~IPropertyContext() = default;

DataValidator::~DataValidator() = default;

bool DataValidator::operator()(const ZxVariant*, const IPropertyContext&) { return true; }

AssignmentOperator::~AssignmentOperator() = default;

bool AssignmentOperator::operator()(AProperty& target, const AProperty& source,
                                    const IPropertyContext&) {
  return target.setValue(source);
}

ValidatorFunctor::~ValidatorFunctor() = default;

bool ValidatorFunctor::operator()(const AProperty&, const AProperty&, const SmartWcharPtr&) {
  return true;
}

SmartWcharPtr internal::HookContext::getPath() const { return SmartWcharPtr(Path(m_path).Text()); }

const char* ResultName(int code) {
  switch (code) {
    case Result::Ok: return "Ok";
    case Result::InvalidArgument: return "InvalidArgument";
    case Result::NoData: return "NoData";
    case Result::NotFound: return "NotFound";
    case Result::NotAContainer: return "NotAContainer";
    case Result::TypeMismatch: return "TypeMismatch";
    case Result::UnsupportedType: return "UnsupportedType";
    case Result::Rejected: return "Rejected";
    case Result::HookFailed: return "HookFailed";
    case Result::OutOfMemory: return "OutOfMemory";
    default: return "Unknown";
  }
}

}  // namespace ZxVariantHelper::BOProperty
