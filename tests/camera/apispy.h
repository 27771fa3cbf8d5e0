// Some tv_ functions defined in the test program: they note each call and pass
// it on to the simulated library, unless a fault was asked for. Any thread may
// call them and the functions below; the notes live until the next reset().
#pragma once

#include <QStringList>

namespace ApiSpy {

// Forgets the calls and the faults, and ends a hung wait.
void reset();
// Each call of function since the last reset as its numbers, without the
// handle but for tv_Event, which adds its operation and codes.
QStringList calls(const char *function);
// Every function called since the last reset but the waits of tv_Event;
// tv_Event, tv_HotPixel and tv_AOI with their operation.
QStringList sequence();
// How many waits of tv_Event ended with this code for this handle since the
// last reset; the count is taken before the waiting thread sees the code.
int reported(unsigned int code, unsigned int handle);
// Spins, handling no events, until reported() reaches count or 20 s have
// passed; true if it did.
bool awaitReported(unsigned int code, unsigned int handle, int count);
// The next call of function after skip others returns status, unseen by the library.
void fail(const char *function, int status, int skip = 0);
// The next wait of tv_Event on handle hangs, deaf to thread cancellation, until
// reset() or for 20 s, then fails; hanging() is true while it does.
void hangNextWait(unsigned int handle);
bool hanging();

} // namespace ApiSpy
