#pragma once

// With ORVANE_PAINT_CLOCK set in the environment, the program writes to standard error when its
// first window is first painted, and when each table opened from a file is first painted with
// its data, in milliseconds since the process started (to the system's clock tick) and as a time
// of day in seconds, so that start-up can be timed from outside without screenshots.
namespace PaintClock {

void installIfAsked();

} // namespace PaintClock
