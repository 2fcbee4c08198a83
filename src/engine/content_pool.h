// Tests of a file's contents (text inside it, metadata) on worker threads, while the scan goes
// on listing folders on the window's thread. Each file gets the number of its place in the
// scan; the answers are read back by that number, so the run file list keeps the scan's order
// and is the same as when every test ran on one thread.
//
//   ContentPool pool(conditions, ContentPool::DefaultThreads());
//   pool.Submit(index, path, entry);        // from the scan, for every file that passed the rest
//   if (!pool.Wait(poll)) { ... }           // Esc: the workers stop at their next block
//   if (pool.Accepted(index)) { ... }
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "engine/conditions.h"

namespace ablagix {

class ContentPool {
 public:
  // With 0 threads every test runs at once, inside Submit, on the caller's thread.
  ContentPool(const ConditionSet& conditions, unsigned threads);
  ~ContentPool();  // stops the workers
  ContentPool(const ContentPool&) = delete;
  ContentPool& operator=(const ContentPool&) = delete;

  // One worker per core; none on a machine with a single core.
  static unsigned DefaultThreads();

  void Submit(std::size_t index, std::wstring path, const DirEntry& entry);
  // Waits until every submitted file is tested. `poll` is called every few milliseconds
  // meanwhile (the window handles its input there and reads Esc); when it or the abort flag
  // asks to stop, the workers are told and Wait returns false once they have stopped.
  bool Wait(const std::function<bool()>& poll);
  // After Wait: whether the file passed; numbers never submitted count as passed, files left
  // untested by a stop as failed.
  bool Accepted(std::size_t index) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace ablagix
