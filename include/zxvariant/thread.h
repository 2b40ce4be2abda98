// Tavel::AThread: the base class of the library's worker threads.
//
// A derived class supplies Run(), the thread's work.  Start() creates the
// thread and returns once it runs; Stop() asks it to end and waits for it;
// Run() learns of the request by waiting in WaitForStopRequest() (or by
// polling IsStopRequested()).  A finished thread may be started again.
//
// Example:
//
//   class Poller : public Tavel::AThread {
//    public:
//     ~Poller() override { Stop(-1); }      // Run uses m_polls: stop here
//    protected:
//     void Run() override {
//       while (WaitForStopRequest(500) == Tavel::AThread::kTimedOut) ++m_polls;
//     }
//    private:
//     int m_polls = 0;
//   };
//
//   Poller poller;
//   poller.Start();                          // true: the thread runs
//   ...
//   int result = poller.Stop(2000);          // 0 ended, 2 still running after 2 s
//
// The thread's life, as GetState() tells it: 0 not started, 1 running
// (set by the new thread before Start returns), 2 stopping (a stop was
// requested), 3 finished (set by the thread as its very last step).  In the
// thread the order is: state 1, OnThreadStart(), Run(), the stop request is
// cleared, OnThreadExit(), state 3.  OnThreadStart begins only once Start is
// done with the object, so Run may even delete its own object.
//
// Results: Stop, Join and WaitForStopRequest answer 0 (kOk: ended, or
// signalled), 2 (kTimedOut) or 1 (kFailed: a bad time-out, or a wait that
// cannot succeed).  Start answers false when a thread is present already,
// when it is called from the object's own thread, or when the OS refuses a
// new thread.  The constructor throws std::bad_alloc (or std::system_error)
// when its events or lock cannot be made; nothing else throws.
//
// Time-outs are milliseconds; 0 does not wait, -1 (for the int time-outs)
// and kInfinite (for Join) wait for good.  Timed waits are coalesced: they
// may return up to 50 ms late, or 5% of the time-out for long ones.
//
// Destruction: the destructor asks a running thread to stop and waits for it
// to end (10000 ms, and beyond for a Run that ignores the request: the
// thread must never outlive the memory it runs on).  Destroyed from its own
// thread (Run deleting its object), the thread is let go instead and ends
// without touching the object again.
//
// RULE for derived classes: C++ runs the derived destructor first, so by the
// time the base destructor stops the thread the derived members are gone and
// the object's virtual functions resolve to the base's.  A derived class
// must therefore stop its thread in its own destructor (Stop(-1)).  Only a
// Run that uses no derived member and calls no virtual function of its
// object while the object may be destroyed (for instance one that blocks in
// a single AThread::WaitForStopRequest(-1), called by that qualified name)
// may leave the stop to the base.  The base keeps itself safe either way:
// its own state outlives the thread, and OnThreadStart, Run and OnThreadExit
// are not called any more once its destruction has begun.
//
// Thread safety: every member may be called from any thread; the state and
// the stop request are guarded by the object's lock.  Concurrent Start calls
// are serialised (one of them creates the thread).  The hooks and Run run on
// the new thread.
#pragma once

#include <memory>

#include "zxvariant/export.h"

namespace Tavel {

class ZXV_EXPORT AThread {
 public:
  // GetState values.
  static constexpr int kNotStarted = 0;
  static constexpr int kRunning = 1;
  static constexpr int kStopping = 2;
  static constexpr int kFinished = 3;
  // Stop, Join and WaitForStopRequest results.
  static constexpr int kOk = 0;
  static constexpr int kFailed = 1;
  static constexpr int kTimedOut = 2;
  // The Join time-out that never runs out (Stop(-1) passes it on).
  static constexpr unsigned kInfinite = 0xFFFFFFFFu;

  AThread();
  AThread(const AThread&) = delete;
  AThread& operator=(const AThread&) = delete;

  // The virtual functions are declared in slot order.

  // Stops a running thread and waits for it; see "Destruction" above.
  virtual ~AThread();

  // The state (0..3), read and written under the lock.
  virtual int GetState();
  virtual void SetState(int state);

  // Clears the stop request (the flag, and the event WaitForStopRequest
  // waits on, so a restarted thread does not see the old request), creates
  // the thread and waits until it runs (state 1).  False: see "Results".
  virtual bool Start();

  // Requests a stop (sets the stop request, wakes WaitForStopRequest, state
  // 2) and waits up to `timeoutMs` for the thread to end; the Join result.
  // 1 for a time-out below -1; 0 at once when there is nothing to stop
  // (state 0, 2 or 3), for a time-out of 0, and when called on the thread
  // itself (Run then sees the request and ends by itself).
  virtual int Stop(int timeoutMs);

  // Waits up to `timeoutMs` for the thread to end: 0 when there is no
  // thread or it ended (state 3) in time, 2 on time-out, 1 when called on
  // the thread itself or when the wait failed.
  virtual int Join(unsigned timeoutMs);

 protected:
  // The thread's work.  Called once per Start on the new thread; the thread
  // ends when it returns.
  virtual void Run() = 0;

 public:
  // Waits up to `timeoutMs` (-1: for good) for a stop request: 0 requested,
  // 2 time-out, 1 for a time-out below -1 or a failed wait.  May be called
  // from any thread.
  virtual int WaitForStopRequest(int timeoutMs);

 protected:
  // Called on the new thread before Run and after it; they do nothing here.
  virtual void OnThreadStart();
  virtual void OnThreadExit();

 public:
  // True when called on the thread this object runs (while it runs).
  virtual bool IsCurrentThread();
  // The stop request flag, under the lock.  SetStopRequested changes only
  // the flag; Stop also wakes WaitForStopRequest.
  virtual bool IsStopRequested();
  virtual void SetStopRequested(bool requested);

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace Tavel
