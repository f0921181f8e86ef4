#pragma once

#include <zeqcam/board/Visibility.h>

#include <string>

namespace zeqcam::board {

/// Powers a sensor of the board in the place of the times of its settings: a device that is really there,
/// say. A sensor holds it by a shared pointer in its settings, and so does every copy of them: it lives at
/// least as long as the board.
///
/// Each operation is called once for each power change that the settings do not make fail, from whatever
/// thread powers the sensor and without a lock of the board held. Two calls may overlap where two callers
/// power one sensor; it is up to the switch to put them in order. A call that does not return keeps its
/// sensor's caller, and in the end whoever destroys the board.
class ZEQCAM_BOARD_API PowerSwitch {
  public:
    PowerSwitch() = default;
    virtual ~PowerSwitch() = default;
    PowerSwitch(PowerSwitch const&) = delete;
    PowerSwitch& operator=(PowerSwitch const&) = delete;

    /// Returns when the sensor is on, with an empty text, or else with the reason why it is not, in one line:
    /// the power-on fails then, and the reason stands in the journal. May be asked of a sensor that is on.
    virtual std::string powerOn() = 0;
    /// The same for off: a sensor that did not go off counts as powered. May be asked of one that is off.
    virtual std::string powerOff() = 0;
};

}  // namespace zeqcam::board
