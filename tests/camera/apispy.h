// Some tv_ functions defined in the test program: they note each call and pass
// it on to the simulated library, unless a fault was asked for.
#pragma once

#include <QStringList>

namespace ApiSpy {

// Forgets the calls and the faults.
void reset();
// The functions called since the last reset (no tv_Event waits); or each call of
// one as its numbers, without the handle but for tv_Event, which adds its codes.
QStringList calls(const char *function = nullptr);
// Every function called since the last reset, the queries of opening among
// them (tv_GetSensorInfo, tv_SetColorMode, tv_AOI and others), which calls()
// leaves out; tv_Event and tv_HotPixel with their operation.
QStringList sequence();
// How many waits of tv_Event ended with this code for this handle since the
// last reset; the count is taken before the waiting thread sees the code.
int reported(unsigned int code, unsigned int handle);
// The next call of function after skip others returns status, unseen by the library.
void fail(const char *function, int status, int skip = 0);

} // namespace ApiSpy
