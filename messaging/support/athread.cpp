// Tavel::AThread: the thread procedure, Start/Stop/Join and the destructor.
//
// Two notions of "the thread" are kept apart.  The thread is *present* from
// Start until Run has returned: a present thread makes Start refuse.  The
// run record (ThreadRun) lives on until the thread procedure's last step and
// carries the event that Join waits for, so a Join never answers "ended"
// while OnThreadExit is still running.  The std::thread itself is joined by
// the next Start or by the destructor, so no thread is ever leaked and none
// outlives the object it runs on.
#include "zxvariant/thread.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

#include "messaging/support/waitable_event.h"
#include "platform/kernel_event.h"
#include "platform/recursive_mutex.h"
#include "platform/thread_platform.h"

namespace Tavel {
namespace {

namespace platform = ZxVariantHelper::platform;

constexpr unsigned kDestructorJoinMs = 10000;

int ThreadResult(int waitCode) noexcept {
  if (waitCode == detail::kWaitSignalled) return AThread::kOk;
  if (waitCode == detail::kWaitTimeout) return AThread::kTimedOut;
  return AThread::kFailed;
}

// One run of the thread, shared by the object and the thread procedure so
// that a procedure whose object was destroyed under it (by its own Run)
// still has something to look at.
struct ThreadRun {
  // Set by Start once it no longer touches the object: only then may the
  // thread call into code that could destroy the object (Run deleting it).
  std::unique_ptr<platform::KernelEvent> released;
  std::unique_ptr<platform::KernelEvent> ended;  // set as the procedure's last step
  bool objectGone = false;                       // written and read by the thread itself only
};

}  // namespace

struct AThread::Impl {
  Impl() {
    if (stopEvent.handle() == nullptr || startedEvent.handle() == nullptr) throw std::bad_alloc();
  }

  bool OnOwnThread() const noexcept {
    const int id = threadId.load();
    return id != 0 && id == platform::CurrentThreadId();
  }

  // False once destruction has begun: the derived part is gone by then.
  bool MayCallHooks() {
    std::lock_guard<platform::RecursiveMutex> guard(lock);
    return !destroying;
  }

  void RequestStopLocked() noexcept {
    stopRequested = true;
    stopEvent.Set();
    state = kStopping;
  }

  int WaitForEnd(const std::shared_ptr<ThreadRun>& current, unsigned timeoutMs) const noexcept {
    if (!current) return kOk;
    if (OnOwnThread()) return kFailed;  // a thread cannot live to see its own end
    return ThreadResult(detail::WaitWithCoalescing(current->ended.get(), timeoutMs, timerAvailable));
  }

  static void ThreadMain(AThread* self, std::shared_ptr<ThreadRun> current);

  detail::WaitableEvent stopEvent;
  detail::WaitableEvent startedEvent;
  platform::RecursiveMutex lock;      // guards the members marked (lock)
  std::mutex startMutex;              // one Start at a time
  std::thread worker;                 // joined by the next Start or the destructor
  std::shared_ptr<ThreadRun> current; // (lock) the latest run
  std::atomic<int> threadId{0};       // the running thread's id, 0 when none
  const bool timerAvailable = platform::CoalescingTimerAvailable();  // Join's timed waits
  bool present = false;               // (lock) from Start until Run returned
  bool stopRequested = false;         // (lock)
  int state = kNotStarted;            // (lock)
  bool destroying = false;            // (lock)
};

void AThread::Impl::ThreadMain(AThread* self, std::shared_ptr<ThreadRun> current) {
  Impl& impl = *self->m_impl;
  {
    // Start holds the lock until the worker and the run record are stored,
    // so everything below sees them.
    std::lock_guard<platform::RecursiveMutex> guard(impl.lock);
    impl.threadId.store(platform::CurrentThreadId());
  }
  self->SetState(kRunning);
  impl.startedEvent.Set();
  current->released->Wait(platform::kInfiniteMs);
  // After each call that may destroy the object from this thread, nothing
  // of the object may be touched any more.
  if (impl.MayCallHooks()) {
    self->OnThreadStart();
    if (current->objectGone) return;
  }
  if (impl.MayCallHooks()) {
    self->Run();
    if (current->objectGone) return;
  }
  {
    std::lock_guard<platform::RecursiveMutex> guard(impl.lock);
    impl.present = false;
  }
  self->SetStopRequested(false);
  if (impl.MayCallHooks()) {
    self->OnThreadExit();
    if (current->objectGone) return;
  }
  self->SetState(kFinished);
  impl.threadId.store(0);
  current->ended->Set();
}

AThread::AThread() : m_impl(std::make_unique<Impl>()) {}

AThread::~AThread() {
  Impl& impl = *m_impl;
  bool stopping = false;
  std::shared_ptr<ThreadRun> current;
  {
    std::lock_guard<platform::RecursiveMutex> guard(impl.lock);
    impl.destroying = true;
    if (impl.state != kNotStarted && impl.state != kStopping && impl.state != kFinished) {
      impl.RequestStopLocked();
      stopping = true;
    }
    current = impl.current;
  }
  if (impl.OnOwnThread()) {
    // Run (or a hook) is deleting its own object: the procedure notices and
    // ends without touching it again; nobody is left to join the thread.
    current->objectGone = true;
    impl.worker.detach();
    return;
  }
  if (stopping) impl.WaitForEnd(current, kDestructorJoinMs);
  // A Run that ignores the request for longer is still waited for: the
  // thread runs on this object's memory and must end before it is freed.
  if (impl.worker.joinable()) impl.worker.join();
}

int AThread::GetState() {
  std::lock_guard<platform::RecursiveMutex> guard(m_impl->lock);
  return m_impl->state;
}

void AThread::SetState(int state) {
  std::lock_guard<platform::RecursiveMutex> guard(m_impl->lock);
  m_impl->state = state;
}

bool AThread::Start() {
  Impl& impl = *m_impl;
  // On its own thread a thread is present, or finishing and not yet joinable.
  if (impl.OnOwnThread()) return false;
  std::unique_lock<std::mutex> starting(impl.startMutex);
  impl.startedEvent.Reset();
  {
    std::lock_guard<platform::RecursiveMutex> guard(impl.lock);
    if (impl.present) return false;
  }
  // A previous thread is past Run; let it finish its last steps.
  if (impl.worker.joinable()) impl.worker.join();
  SetStopRequested(false);
  impl.stopEvent.Reset();
  std::shared_ptr<ThreadRun> run;
  try {
    run = std::make_shared<ThreadRun>();
    run->released = platform::KernelEvent::Create(false);
    run->ended = platform::KernelEvent::Create(false);
    if (!run->released || !run->ended) return false;
    std::lock_guard<platform::RecursiveMutex> guard(impl.lock);
    impl.worker = std::thread(&Impl::ThreadMain, this, run);
    impl.present = true;
    impl.current = run;
  } catch (const std::exception&) {
    return false;  // no memory for the run, or the OS refused a thread
  }
  const bool running = impl.startedEvent.Wait(detail::kWaitInfinite) == detail::kWaitSignalled;
  // The object may be gone as soon as the thread is released: touch nothing
  // of it afterwards.
  starting.unlock();
  run->released->Set();
  return running;
}

int AThread::Stop(int timeoutMs) {
  if (timeoutMs < -1) return kFailed;
  {
    // One locked step, so that the thread cannot finish between the look at
    // the state and the move to "stopping".
    std::lock_guard<platform::RecursiveMutex> guard(m_impl->lock);
    const int state = GetState();
    if (state == kNotStarted || state == kStopping || state == kFinished) return kOk;
    SetStopRequested(true);
    m_impl->stopEvent.Set();
    SetState(kStopping);
  }
  if (timeoutMs == 0 || IsCurrentThread()) return kOk;
  return Join(static_cast<unsigned>(timeoutMs));
}

int AThread::Join(unsigned timeoutMs) {
  std::shared_ptr<ThreadRun> current;
  {
    std::lock_guard<platform::RecursiveMutex> guard(m_impl->lock);
    current = m_impl->current;
  }
  return m_impl->WaitForEnd(current, timeoutMs);
}

int AThread::WaitForStopRequest(int timeoutMs) {
  if (timeoutMs < -1) return kFailed;
  return ThreadResult(m_impl->stopEvent.Wait(static_cast<std::uint32_t>(timeoutMs)));
}

void AThread::OnThreadStart() {}

void AThread::OnThreadExit() {}

bool AThread::IsCurrentThread() { return m_impl->OnOwnThread(); }

bool AThread::IsStopRequested() {
  std::lock_guard<platform::RecursiveMutex> guard(m_impl->lock);
  return m_impl->stopRequested;
}

void AThread::SetStopRequested(bool requested) {
  std::lock_guard<platform::RecursiveMutex> guard(m_impl->lock);
  m_impl->stopRequested = requested;
}

}  // namespace Tavel
