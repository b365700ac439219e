#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "geom/model/keel/export.h"

namespace qvUtil {

/// Progress and cancellation of one task, owned by the caller and used by one thread; only `cancel` may come
/// from another. The fraction never goes back. A host either derives from this class or installs a callback.
class QVGEOM_API Progress {
 public:
  using Callback = std::function<void(double fraction, char const* caption)>;

  Progress();
  explicit Progress(Callback callback);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  virtual ~Progress();

  /// Reports the fraction done. Values outside [0, 1] are clamped; NaN and steps back are ignored.
  virtual void set(double fraction);
  virtual void setCaption(char const* text);
  /// Lets `child` report a phase that covers `share` of this range, beginning where the work reported and the
  /// phases opened so far end; shares that add up to more than 1 are cut off there. The child starts anew at
  /// 0 and asks this object for cancellation. Either of the two may die first. A child that is this object or
  /// one of its ancestors is refused: nothing changes.
  virtual void subPhase(double share, Progress& child);
  /// True once this task, or one it is a phase of, was asked to stop, and from then on, in overrides too.
  virtual bool cancelled();

  /// Asks the task to stop. Safe from any thread and from a signal handler.
  void cancel() { cancelRequested_.store(true, std::memory_order_relaxed); }

  double fraction() const { return fraction_; }
  char const* caption() const { return caption_.c_str(); }

 private:
  void detach();
  bool descendsFrom(const Progress& other) const;

  Callback callback_;
  std::string caption_;
  double fraction_ = 0;
  double opened_ = 0;  // end of the last phase handed out
  std::atomic<bool> cancelRequested_{false};
  Progress* parent_ = nullptr;
  double parentStart_ = 0;
  double parentShare_ = 0;
  std::vector<Progress*> children_;
};

}  // namespace qvUtil
