#include "engine/content_pool.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "base/abort_flag.h"

namespace ablagix {
namespace {

// How many submitted files may wait for a worker before Submit waits too. It keeps memory
// bounded when the scan is much faster than the tests, and the window answers meanwhile,
// because Submit hands the wait to the caller's poll.
constexpr std::size_t kMaxQueued = 4096;

enum : unsigned char { kNotSubmitted = 0, kWaiting = 1, kPassed = 2, kFailed = 3 };

struct Job {
  std::size_t index;
  std::wstring path;
  DirEntry entry;
};

}  // namespace

struct ContentPool::State {
  const ConditionSet& conditions;
  std::mutex mutex;
  std::condition_variable work;  // a job is queued, or the pool stops
  std::condition_variable done;  // a job is finished
  std::deque<Job> queue;
  std::size_t busy = 0;
  bool stopping = false;
  std::vector<unsigned char> results;  // by index; grows as files are submitted
  std::vector<std::thread> workers;

  explicit State(const ConditionSet& c) : conditions(c) {}

  void Record(std::size_t index, unsigned char result) {
    if (results.size() <= index) results.resize(index + 1, kNotSubmitted);
    results[index] = result;
  }

  void Work() {
    std::unique_lock lock(mutex);
    for (;;) {
      work.wait(lock, [&] { return stopping || !queue.empty(); });
      if (stopping) return;
      Job job = std::move(queue.front());
      queue.pop_front();
      ++busy;
      lock.unlock();
      // The tests read only the abort flag to stop (never the window): Esc reaches them
      // through the window's thread, which sets the flag.
      const bool passed = !AbortRequested() && conditions.AcceptsContent(job.path, job.entry);
      lock.lock();
      --busy;
      Record(job.index, passed ? kPassed : kFailed);
      done.notify_all();
    }
  }
};

ContentPool::ContentPool(const ConditionSet& conditions, unsigned threads)
    : state_(std::make_unique<State>(conditions)) {
  for (unsigned i = 0; i < threads; ++i) state_->workers.emplace_back([s = state_.get()] { s->Work(); });
}

ContentPool::~ContentPool() {
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  state_->work.notify_all();
  for (auto& worker : state_->workers) worker.join();
}

unsigned ContentPool::DefaultThreads() {
  const unsigned cores = std::thread::hardware_concurrency();
  return cores > 1 ? cores : 0;
}

void ContentPool::Submit(std::size_t index, std::wstring path, const DirEntry& entry) {
  if (state_->workers.empty()) {
    const bool passed = !AbortRequested() && state_->conditions.AcceptsContent(path, entry);
    state_->Record(index, passed ? kPassed : kFailed);
    return;
  }
  std::unique_lock lock(state_->mutex);
  state_->Record(index, kWaiting);
  // A full queue: the scan waits for the workers (they are the slow part).
  state_->done.wait(lock, [&] { return state_->queue.size() < kMaxQueued || AbortRequested(); });
  state_->queue.push_back(Job{index, std::move(path), entry});
  lock.unlock();
  state_->work.notify_one();
}

bool ContentPool::Wait(const std::function<bool()>& poll) {
  std::unique_lock lock(state_->mutex);
  for (;;) {
    if (state_->queue.empty() && state_->busy == 0) break;
    state_->done.wait_for(lock, std::chrono::milliseconds(10));
    if (AbortRequested()) break;
    if (poll) {
      lock.unlock();
      const bool stop = poll();
      lock.lock();
      if (stop) {
        RequestAbort();
        break;
      }
    }
  }
  if (!AbortRequested()) return true;
  // Stopped: what is queued is dropped, what runs ends at its next block (the tests watch
  // the abort flag).
  state_->queue.clear();
  state_->done.wait(lock, [&] { return state_->busy == 0; });
  return false;
}

bool ContentPool::Accepted(std::size_t index) const {
  if (index >= state_->results.size()) return true;
  const unsigned char result = state_->results[index];
  return result == kNotSubmitted || result == kPassed;
}

}  // namespace ablagix
