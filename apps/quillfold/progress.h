// How far a sync has come, on standard error.
#pragma once

#include <functional>

#include "quillfold/quillfold.h"

namespace host {

// A bar that is drawn again in place on a terminal, and gone at the end; elsewhere a line for
// each upload, if lines are wanted.
class Progress {
 public:
  explicit Progress(bool lines);
  ~Progress() { end(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // For SyncOptions::progress; this has to outlive it.
  std::function<void(const quillfold::SyncProgress& progress)> shower();
  const quillfold::SyncProgress& last() const { return last_; }
  // Takes the bar away.
  void end();

 private:
  void show(const quillfold::SyncProgress& progress);
  std::string pace() const;

  const bool bar_;
  const bool lines_;
  bool shown_ = false;
  // Where the count of the rate begins.
  double start_ = 0;
  quillfold::SyncProgress first_;
  quillfold::SyncProgress last_;
};

}  // namespace host
