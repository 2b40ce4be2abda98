#include "zxvariant/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "zxvariant/sync.h"

namespace {

using Tavel::AThread;
constexpr unsigned long kForever = CSyncBase::kInfinite;

// Logs what happens on its thread (read the log only once the thread ended);
// Run does `body`.  Its Run uses its members, so it stops in its destructor.
class Worker : public AThread {
 public:
  explicit Worker(std::function<void(Worker&)> run = {}) : body(std::move(run)) {}
  ~Worker() override { Stop(-1); }
  std::function<void(Worker&)> body, onExit;
  std::string log;

 protected:
  void OnThreadStart() override { log += "start "; }
  void Run() override {
    log += "run ";
    if (body) body(*this);
    log += "done ";
  }
  void OnThreadExit() override {
    log += "exit;";
    if (onExit) onExit(*this);
  }
};

void AwaitStop(Worker& self) { self.log += "stop " + std::to_string(self.WaitForStopRequest(-1)) + " "; }

// Runs a copy of `body`, so Run uses no member while the body runs: the body
// may delete the object, or leave the stop to the base destructor by blocking
// in one AThread::WaitForStopRequest(-1) called by its qualified name (a
// virtual call would race with the destructor's switch of the vtable).
class Bare : public AThread {
 public:
  explicit Bare(std::function<void(AThread&)> body) : m_body(std::move(body)) {}

 protected:
  void Run() override {
    std::function<void(AThread&)> body = m_body;
    body(*this);
  }

 private:
  std::function<void(AThread&)> m_body;
};

TEST(AThread, StopDoesNothingBeforeStartAndFromOutsideEndsRunAndWaitsForTheThread) {
  Worker worker(AwaitStop);
  EXPECT_EQ(worker.Stop(-1), 0);
  EXPECT_EQ(worker.Stop(-2), 1);
  EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
  EXPECT_EQ(worker.GetState(), AThread::kNotStarted);
  worker.SetStopRequested(true);  // the flag alone does not signal the stop event
  EXPECT_EQ(worker.WaitForStopRequest(0), 2);
  ASSERT_TRUE(worker.Start());
  EXPECT_FALSE(worker.IsStopRequested());  // cleared by Start
  EXPECT_FALSE(worker.IsCurrentThread());
  EXPECT_EQ(worker.Stop(-2), 1);
  EXPECT_EQ(worker.WaitForStopRequest(-2), 1);
  EXPECT_EQ(worker.GetState(), AThread::kRunning);  // set before Start returned; still running
  EXPECT_EQ(worker.Stop(-1), 0);
  EXPECT_EQ(worker.GetState(), AThread::kFinished);
  EXPECT_EQ(worker.log, "start run stop 0 done exit;");
  EXPECT_FALSE(worker.IsStopRequested());  // cleared by the thread as it ended
}

TEST(AThread, StopWithZeroOrShortTimeOutLeavesARunThatIgnoresItRunning) {
  for (int timeout : {0, 40}) {
    CSyncEvent gate;
    Worker worker([&](Worker&) { gate.Wait(kForever); });
    ASSERT_TRUE(worker.Start());
    EXPECT_EQ(worker.Stop(timeout), timeout == 0 ? 0 : 2) << timeout;  // 0 returns at once
    EXPECT_EQ(worker.GetState(), AThread::kStopping);
    EXPECT_TRUE(worker.IsStopRequested());
    EXPECT_EQ(worker.Join(20), 2);
    EXPECT_EQ(worker.Stop(-1), 0);  // stopping already: nothing to wait for
    gate.Set();
    EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
    EXPECT_EQ(worker.GetState(), AThread::kFinished);
  }
}

TEST(AThread, OnItsOwnThreadStopReturnsAtOnceAndStartAndJoinAreRefused) {
  CSyncEvent gate;
  std::vector<int> seen;  // read once the thread ended
  Worker worker([&](Worker& self) {
    seen.push_back(self.Start());
    gate.Wait(kForever);
    seen.push_back(self.Stop(-1));
    seen.push_back(self.GetState());
    seen.push_back(self.WaitForStopRequest(0));
    seen.push_back(self.Join(AThread::kInfinite));  // a thread cannot wait for its own end
  });
  worker.onExit = [&](Worker& self) { seen.push_back(self.Start()); };
  ASSERT_TRUE(worker.Start());
  EXPECT_FALSE(worker.Start());  // a thread is present
  gate.Set();
  EXPECT_EQ(worker.Join(AThread::kInfinite), 0);
  EXPECT_EQ(seen, (std::vector<int>{0, 0, AThread::kStopping, 0, 1, 0}));
  EXPECT_EQ(worker.log, "start run done exit;");  // one run only
}

TEST(AThread, RestartsAfterItsThreadFinishedWithoutTheOldStopRequest) {
  Worker worker(AwaitStop);
  ASSERT_TRUE(worker.Start());
  std::atomic<bool> done{false};
  std::atomic<int> notStarted{0};
  std::thread watcher([&] {  // reads from another thread, racing with every restart
    while (!done) notStarted += worker.GetState() == AThread::kNotStarted;
  });
  for (int i = 0; i < 60; ++i) {
    if (i > 0) {
      EXPECT_TRUE(worker.Start()) << i;
    }
    EXPECT_EQ(worker.GetState(), AThread::kRunning) << i;
    if (i < 2) {
      EXPECT_EQ(worker.Join(30), 2) << "the previous stop request ended run " << i;
    }
    EXPECT_EQ(worker.Stop(i % 2 == 0 ? -1 : 0), 0) << i;  // Stop(0): the thread ends by itself
    EXPECT_EQ(worker.Join(AThread::kInfinite), 0) << i;
    EXPECT_EQ(worker.GetState(), AThread::kFinished) << i;
  }
  done = true;
  watcher.join();
  EXPECT_EQ(notStarted, 0);  // a started thread's state never returns to 0
  EXPECT_EQ(worker.log.size(), 60 * std::string("start run stop 0 done exit;").size());
}

TEST(AThread, ConcurrentStartsMakeOneThreadAndConcurrentStopsAllSeeItEnd) {
  std::atomic<int> runs{0}, started{0}, ended{0};
  Worker worker([&](Worker& self) {
    ++runs;
    AwaitStop(self);
  });
  auto fourAtOnce = [](const std::function<void()>& call) {
    std::thread callers[] = {std::thread(call), std::thread(call), std::thread(call), std::thread(call)};
    for (std::thread& caller : callers) caller.join();
  };
  fourAtOnce([&] { started += worker.Start() ? 1 : 0; });
  // One Stop waits; the others find the thread stopping, return and Join.
  fourAtOnce([&] {
    ended += worker.Stop(-1) == 0 && worker.Join(AThread::kInfinite) == 0 &&
             worker.GetState() == AThread::kFinished;
  });
  EXPECT_EQ(started, 1);
  EXPECT_EQ(ended, 4);
  EXPECT_EQ(runs, 1);
}

TEST(AThread, DestroyingARunningThreadStopsItAndWaitsForItsEnd) {
  CSyncEvent never;
  for (bool ignoresTheRequest : {false, true}) {
    CSyncEvent running;
    std::atomic<int> result{99};
    auto* thread = new Bare([&](AThread& self) {
      running.Set();
      result = ignoresTheRequest ? never.Wait(150) : self.AThread::WaitForStopRequest(-1);
    });
    ASSERT_TRUE(thread->Start());
    ASSERT_EQ(running.Wait(kForever), 0);
    delete thread;
    EXPECT_EQ(result, ignoresTheRequest ? 258 : 0);  // Run ended before the object was freed
  }
}

TEST(AThread, RunMayDeleteItsOwnObject) {
  CSyncEvent deleted;
  auto* thread = new Bare([&](AThread& self) {
    delete &self;
    deleted.Set();
  });
  ASSERT_TRUE(thread->Start());
  EXPECT_EQ(deleted.Wait(kForever), 0);
}

}  // namespace
