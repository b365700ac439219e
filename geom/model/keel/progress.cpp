#include "geom/model/keel/progress.h"

#include <algorithm>
#include <utility>

namespace qvUtil {

Progress::Progress() = default;

Progress::Progress(Callback callback) : callback_(std::move(callback)) {}

Progress::~Progress() {
  detach();
  for (Progress* child : children_) child->parent_ = nullptr;
}

void Progress::set(double fraction) {
  // Written so that NaN fails the test, and that whatever lies past 1 is heard once.
  const double reached = std::min(fraction, 1.0);
  if (!(reached > fraction_)) return;
  fraction_ = reached;
  if (callback_) callback_(fraction_, caption_.c_str());
  if (parent_) parent_->set(parentStart_ + fraction_ * parentShare_);
}

void Progress::setCaption(char const* text) {
  caption_ = text ? text : "";
  if (callback_) callback_(fraction_, caption_.c_str());
  if (parent_) parent_->setCaption(text);
}

void Progress::subPhase(double share, Progress& child) {
  if (this == &child || descendsFrom(child)) return;
  child.detach();
  const double start = std::max(fraction_, opened_);
  // Written so that NaN fails the test.
  const double width = share > 0 ? std::min(share, 1.0 - start) : 0.0;
  // First, since it alone can fail: afterwards each of the two knows the other.
  children_.push_back(&child);
  opened_ = start + width;
  child.parent_ = this;
  child.parentStart_ = start;
  child.parentShare_ = width;
  child.fraction_ = 0;
  child.opened_ = 0;
}

bool Progress::cancelled() {
  if (cancelRequested_.load(std::memory_order_relaxed)) return true;
  return parent_ && parent_->cancelled();
}

void Progress::detach() {
  if (!parent_) return;
  std::erase(parent_->children_, this);
  parent_ = nullptr;
}

bool Progress::descendsFrom(const Progress& other) const {
  for (const Progress* p = parent_; p; p = p->parent_)
    if (p == &other) return true;
  return false;
}

}  // namespace qvUtil
