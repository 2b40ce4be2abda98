#include "zxvariant/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zxvariant/sync.h"

namespace {

using Tavel::AThread;
using Log = std::vector<std::string>;

// Records, in order, what happens on its thread; Run does `body`.  Like any
// class whose Run uses its own members, it stops its thread in its destructor.
class Worker : public AThread {
 public:
  explicit Worker(std::function<void(Worker&)> body = {}) : m_body(std::move(body)) {}
  ~Worker() override { Stop(-1); }

  void Note(const std::string& what) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_log.push_back(what);
  }
  Log log() {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_log;
  }
  std::function<void(Worker&)> onExit;

 protected:
  void OnThreadStart() override { Note("start"); }
  void Run() override {
    Note("run");
    if (m_body) m_body(*this);
    Note("run done");
  }
  void OnThreadExit() override {
    Note("exit");
    if (onExit) onExit(*this);
  }

 private:
  std::function<void(Worker&)> m_body;
  std::mutex m_mutex;
  Log m_log;
};

void AwaitStop(Worker& self) { self.Note("stop " + std::to_string(self.WaitForStopRequest(-1))); }

// Leaves the stop to the base destructor: its Run uses only what it copied
// from the object before the derived part could go, and blocks in a single
// WaitForStopRequest(-1) called by its qualified name (a virtual call would
// race with the destructor's switch of the vtable).
class BaseStopped : public AThread {
 public:
  BaseStopped(CSyncEvent* running, std::atomic<int>* result, CSyncEvent* gate)
      : m_running(running), m_result(result), m_gate(gate) {}

 protected:
  void Run() override {
    CSyncEvent* running = m_running;
    std::atomic<int>* result = m_result;
    CSyncEvent* gate = m_gate;
    running->Set();
    *result = gate != nullptr ? gate->Wait(150) : AThread::WaitForStopRequest(-1);
  }
  void OnThreadExit() override { *m_result = -100; }  // must not run once the derived part is gone

 private:
  CSyncEvent* m_running;
  std::atomic<int>* m_result;
  CSyncEvent* m_gate;
};

class SelfDeleting : public AThread {
 public:
  explicit SelfDeleting(CSyncEvent* deleted) : m_deleted(deleted) {}

 protected:
  void Run() override {
    CSyncEvent* deleted = m_deleted;
    delete this;
    deleted->Set();
  }

 private:
  CSyncEvent* m_deleted;
};

// ---- stopping ---------------------------------------------------------------

TEST(AThread, StopBeforeStartDoesNothing) {
  Worker worker(AwaitStop);
  EXPECT_EQ(worker.Stop(-1), 0);
  EXPECT_EQ(worker.Stop(100), 0);
  EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
  EXPECT_EQ(worker.WaitForStopRequest(0), 2);
  EXPECT_EQ(worker.GetState(), AThread::kNotStarted);
  EXPECT_FALSE(worker.IsCurrentThread());
  EXPECT_TRUE(worker.log().empty());
  worker.SetStopRequested(true);  // the flag alone does not signal the stop event
  EXPECT_TRUE(worker.IsStopRequested());
  EXPECT_EQ(worker.WaitForStopRequest(0), 2);
}

TEST(AThread, TimeOutsBelowMinusOneAreRefused) {
  Worker worker(AwaitStop);
  EXPECT_EQ(worker.Stop(-2), 1);
  ASSERT_TRUE(worker.Start());
  EXPECT_EQ(worker.Stop(-2), 1);
  EXPECT_EQ(worker.WaitForStopRequest(-2), 1);
  EXPECT_EQ(worker.GetState(), AThread::kRunning);
  EXPECT_FALSE(worker.IsStopRequested());
}

TEST(AThread, StopFromOutsideEndsRunAndWaitsForTheThread) {
  std::atomic<bool> onThread{false};
  std::atomic<bool> sawRequest{false};
  Worker worker([&](Worker& self) {
    onThread = self.IsCurrentThread();
    AwaitStop(self);
    sawRequest = self.IsStopRequested();
  });
  ASSERT_TRUE(worker.Start());
  EXPECT_EQ(worker.GetState(), AThread::kRunning);  // set before Start returns
  EXPECT_FALSE(worker.IsCurrentThread());
  EXPECT_EQ(worker.Stop(-1), 0);
  EXPECT_EQ(worker.GetState(), AThread::kFinished);
  EXPECT_EQ(worker.log(), (Log{"start", "run", "stop 0", "run done", "exit"}));
  EXPECT_TRUE(onThread);
  EXPECT_TRUE(sawRequest);
  EXPECT_FALSE(worker.IsStopRequested());  // cleared by the thread as it ended
  EXPECT_FALSE(worker.IsCurrentThread());
}

TEST(AThread, StopWithZeroTimeOutLeavesTheThreadToEndByItself) {
  CSyncEvent gate;
  Worker worker([&](Worker& self) {
    AwaitStop(self);
    gate.Wait(CSyncBase::kInfinite);
  });
  ASSERT_TRUE(worker.Start());
  EXPECT_EQ(worker.Stop(0), 0);
  EXPECT_EQ(worker.GetState(), AThread::kStopping);
  EXPECT_EQ(worker.Join(20), 2);   // still running
  EXPECT_EQ(worker.Stop(-1), 0);   // stopping already: nothing to wait for
  gate.Set();
  EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
  EXPECT_EQ(worker.GetState(), AThread::kFinished);
}

TEST(AThread, StopTimesOutWhileRunIgnoresTheRequest) {
  CSyncEvent gate;
  Worker worker([&](Worker&) { gate.Wait(CSyncBase::kInfinite); });
  ASSERT_TRUE(worker.Start());
  EXPECT_EQ(worker.Stop(40), 2);
  EXPECT_EQ(worker.GetState(), AThread::kStopping);
  EXPECT_TRUE(worker.IsStopRequested());
  gate.Set();
  EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
  EXPECT_EQ(worker.GetState(), AThread::kFinished);
}

TEST(AThread, StopFromInsideReturnsAtOnce) {
  int stop = -1, state = -1, waited = -1, join = -1;
  Worker worker([&](Worker& self) {
    stop = self.Stop(-1);
    state = self.GetState();
    waited = self.WaitForStopRequest(0);
    join = self.Join(AThread::kInfinite);  // a thread cannot wait for its own end
  });
  ASSERT_TRUE(worker.Start());
  EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
  EXPECT_EQ(stop, 0);
  EXPECT_EQ(state, AThread::kStopping);
  EXPECT_EQ(waited, 0);
  EXPECT_EQ(join, 1);
  EXPECT_EQ(worker.GetState(), AThread::kFinished);
}

// ---- starting ---------------------------------------------------------------

TEST(AThread, StartIsRefusedWhileAThreadIsPresentOrFromItsOwnThread) {
  std::atomic<int> fromRun{-1}, fromExit{-1};
  Worker worker([&](Worker& self) {
    fromRun = self.Start();
    AwaitStop(self);
  });
  worker.onExit = [&](Worker& self) { fromExit = self.Start(); };
  ASSERT_TRUE(worker.Start());
  EXPECT_FALSE(worker.Start());
  EXPECT_EQ(worker.Stop(-1), 0);
  EXPECT_EQ(fromRun, 0);
  EXPECT_EQ(fromExit, 0);
  EXPECT_EQ(worker.log().size(), 5u);  // one run only
}

TEST(AThread, RestartsAfterItsThreadFinished) {
  std::atomic<int> runs{0};
  Worker worker([&](Worker& self) {
    ++runs;
    AwaitStop(self);
  });
  for (int i = 1; i <= 3; ++i) {
    ASSERT_TRUE(worker.Start());
    EXPECT_EQ(worker.GetState(), AThread::kRunning);
    EXPECT_EQ(worker.Join(30), 2) << "the previous stop request must not end the new run";
    EXPECT_EQ(worker.Stop(-1), 0);
    EXPECT_EQ(worker.GetState(), AThread::kFinished);
    EXPECT_EQ(runs, i);
  }
  Worker once([](Worker&) {});  // a Run that ends by itself
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(once.Start());
    EXPECT_EQ(once.Join(AThread::kInfinite), 0);
    EXPECT_EQ(once.GetState(), AThread::kFinished);
  }
  EXPECT_EQ(once.log(), (Log{"start", "run", "run done", "exit", "start", "run", "run done", "exit"}));
}

TEST(AThread, ConcurrentStartsCreateOneThreadAndConcurrentStopsAllSeeItEnd) {
  std::atomic<int> runs{0}, started{0}, ended{0};
  Worker worker([&](Worker& self) {
    ++runs;
    AwaitStop(self);
  });
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) callers.emplace_back([&] { started += worker.Start() ? 1 : 0; });
  for (std::thread& caller : callers) caller.join();
  callers.clear();
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&] {
      // Only one Stop waits; the others find the thread stopping and return.
      if (worker.Stop(-1) == 0 && worker.Join(AThread::kInfinite) == 0 &&
          worker.GetState() == AThread::kFinished) {
        ++ended;
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(started, 1);
  EXPECT_EQ(ended, 4);
  EXPECT_EQ(runs, 1);
}

TEST(AThread, ManyStartStopCycles) {
  Worker worker(AwaitStop);
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(worker.Start()) << i;
    if (i % 2 == 0) {
      ASSERT_EQ(worker.Stop(-1), 0) << i;
    } else {
      ASSERT_EQ(worker.Stop(0), 0) << i;
      ASSERT_EQ(worker.Join(AThread::kInfinite), 0) << i;
    }
    ASSERT_EQ(worker.GetState(), AThread::kFinished) << i;
  }
}

// ---- destruction ------------------------------------------------------------

TEST(AThread, DestroyingARunningThreadStopsAndJoinsIt) {
  CSyncEvent running;
  std::atomic<int> result{99};
  auto* thread = new BaseStopped(&running, &result, nullptr);
  ASSERT_TRUE(thread->Start());
  ASSERT_EQ(running.Wait(CSyncBase::kInfinite), 0);
  delete thread;  // returns once the thread ended
  EXPECT_EQ(result, 0);  // Run saw the stop request; the derived OnThreadExit never ran
}

TEST(AThread, DestructorWaitsForARunThatIgnoresTheRequest) {
  CSyncEvent running, gate;
  std::atomic<int> result{99};
  auto* thread = new BaseStopped(&running, &result, &gate);
  ASSERT_TRUE(thread->Start());
  ASSERT_EQ(running.Wait(CSyncBase::kInfinite), 0);
  delete thread;
  EXPECT_EQ(result, 258);  // Run's own wait ran out before the destructor returned
}

TEST(AThread, DestroyingFinishedOrNeverStartedThreadsIsQuiet) {
  { Worker never(AwaitStop); }
  std::atomic<int> result{99};
  CSyncEvent running;
  {
    BaseStopped finished(&running, &result, nullptr);
    ASSERT_TRUE(finished.Start());
    EXPECT_EQ(finished.Stop(-1), 0);
    EXPECT_EQ(result, -100);  // alive, so its OnThreadExit ran
  }
}

TEST(AThread, RunMayDeleteItsOwnObject) {
  CSyncEvent deleted;
  ASSERT_TRUE((new SelfDeleting(&deleted))->Start());
  EXPECT_EQ(deleted.Wait(CSyncBase::kInfinite), 0);
}

}  // namespace
