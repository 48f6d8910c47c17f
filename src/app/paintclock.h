#pragma once

// With ORVANE_PAINT_CLOCK set in the environment, the program writes to standard error when its
// first window is first painted, and when each table opened from a file is first painted with
// its data, in milliseconds since the process started (to the system's clock tick) and as a time
// of day in seconds, so that start-up can be timed from outside without screenshots.
// With ORVANE_PAINT_CLOCK=phases it also writes each phase of the start as it ends, with the
// milliseconds since the first phase mark, to tell where the start's time goes.
namespace PaintClock {

void installIfAsked();
// Notes the end of a start-up phase; costs one test of a flag when the clock is off.
void mark(const char* phase);

} // namespace PaintClock
