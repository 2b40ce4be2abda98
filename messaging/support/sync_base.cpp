#include "zxvariant/sync.h"

#include "platform/kernel_object.h"

CSyncBase::CSyncBase(ZxVariantHelper::platform::KernelObject* handle) noexcept : m_hHandle(handle) {}

CSyncBase::~CSyncBase() { delete m_hHandle; }
