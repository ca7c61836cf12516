/// When steps that bring nothing are enough.
#pragma once

namespace polefit {

/// Ends with so many steps in a row that brought nothing.
class StopRule {
 public:
  explicit StopRule(int patience) : patience_(patience) {}

  /// Takes note of a step.
  void step(bool gained) { idle_steps_ = gained ? 0 : idle_steps_ + 1; }

  /// Steps without gain since the last one that brought something.
  int idle_steps() const { return idle_steps_; }
  bool ended() const { return idle_steps_ >= patience_; }

 private:
  int patience_;
  int idle_steps_ = 0;
};

}  // namespace polefit
