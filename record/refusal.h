// Builder refusals travel as a null ZxvIllegalOperationException*: callers
// catch the pointer type, and no object is ever created for them.
#pragma once

#include "zxvariant/builders.h"

namespace ZxVariantHelper::detail {

[[noreturn]] inline void Refuse() { throw static_cast<ZxvIllegalOperationException*>(nullptr); }

}  // namespace ZxVariantHelper::detail
