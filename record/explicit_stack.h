// A stack for tree walks that must not recurse: the first kInline frames live
// inside the object (so ordinary trees allocate nothing), deeper trees grow a
// heap array geometrically.  Push reports allocation failure instead of
// throwing, so each walk decides what running out of memory means to it.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace ZxVariantHelper::detail {

template <typename Frame, std::size_t kInline = 64>
class ExplicitStack {
  static_assert(std::is_trivially_copyable_v<Frame>, "frames are moved with memcpy");

 public:
  ExplicitStack() = default;
  ExplicitStack(const ExplicitStack&) = delete;
  ExplicitStack& operator=(const ExplicitStack&) = delete;
  ~ExplicitStack() {
    if (m_frames != m_inline) std::free(m_frames);
  }

  bool Empty() const { return m_size == 0; }
  Frame& Top() { return m_frames[m_size - 1]; }
  void Pop() { --m_size; }

  // Makes room for `capacity` frames so that pushes up to it cannot fail.
  [[nodiscard]] bool Reserve(std::size_t capacity) {
    while (m_capacity < capacity) {
      if (!Grow()) return false;
    }
    return true;
  }

  // REQUIRES: room was reserved.
  void PushReserved(const Frame& frame) { m_frames[m_size++] = frame; }

  [[nodiscard]] bool Push(const Frame& frame) {
    if (m_size == m_capacity && !Grow()) return false;
    m_frames[m_size++] = frame;
    return true;
  }

 private:
  bool Grow() {
    std::size_t capacity = m_capacity * 2;
    Frame* frames = static_cast<Frame*>(std::malloc(capacity * sizeof(Frame)));
    if (frames == nullptr) return false;
    std::memcpy(static_cast<void*>(frames), m_frames, m_size * sizeof(Frame));
    if (m_frames != m_inline) std::free(m_frames);
    m_frames = frames;
    m_capacity = capacity;
    return true;
  }

  Frame m_inline[kInline];
  Frame* m_frames = m_inline;
  std::size_t m_size = 0;
  std::size_t m_capacity = kInline;
};

}  // namespace ZxVariantHelper::detail
