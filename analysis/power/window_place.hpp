// Where a window lies in a stream, and what is to be known of it before its figures are used.
#pragma once

namespace kxanalysis {

/// What makes figures doubtful (flagging, IEC 61000-4-30, 4.7).
struct WindowFlags {
  bool frequencyUnknown = false;  ///< somewhere in it there is no mains to be seen
  bool frequencyMoved = false;    ///< it changed by more than 0.2 %
  bool dip = false, swell = false, interruption = false;

  bool any() const { return frequencyUnknown || frequencyMoved || dip || swell || interruption; }

  WindowFlags operator|(const WindowFlags& other) const {
    return {frequencyUnknown || other.frequencyUnknown, frequencyMoved || other.frequencyMoved, dip || other.dip,
            swell || other.swell, interruption || other.interruption};
  }
};

struct WindowPlace {
  double begin = 0, length = 0;  ///< in s
  double frequency = 0;          ///< of the mains, in Hz
  WindowFlags flags;
};

}  // namespace kxanalysis
