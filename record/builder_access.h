// The library's own view of a builder's private links.
#pragma once

#include "zxvariant/builders.h"

namespace ZxVariantHelper {

struct BuilderAccess {
  static ZxvBase* FirstAttribute(const ZxvBase& b) { return b.m_firstAttribute; }
  static ZxvBase* FirstChild(const ZxvBase& b) {
    return b.type == ZxVariant::TypeCodes::List ? static_cast<const ZxvList&>(b).m_firstChild
                                                : nullptr;
  }
  // Builders are chained through the header's next slot.
  static ZxvBase* Next(const ZxvBase& b) { return static_cast<ZxvBase*>(b.next); }
  // The links themselves, for the chain surgery of destruction.
  static ZxvBase*& FirstAttributeLink(ZxvBase& b) { return b.m_firstAttribute; }
  static ZxvBase*& LastAttributeLink(ZxvBase& b) { return b.m_lastAttribute; }
  static ZxvBase*& FirstChildLink(ZxvList& l) { return l.m_firstChild; }
  static ZxvBase*& LastChildLink(ZxvList& l) { return l.m_lastChild; }
  // The embedded record of a ZxvCopy sits in the value's pointer slot.
  static const ZxVariant* Embedded(const ZxvBase& b) {
    return static_cast<const ZxVariant*>(b.value.buffer.data);
  }
};

}  // namespace ZxVariantHelper
