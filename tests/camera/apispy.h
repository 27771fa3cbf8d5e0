// A recording shim in front of the camera library for the camera tests: the
// test program defines some tv_ functions itself (apispy.cpp); they note each
// call and pass it on to the simulated library, unless a fault was asked for.
#pragma once

#include <QStringList>

namespace ApiSpy {

// Forgets the calls and the faults.
void reset();
// The functions called since the last reset (waits of tv_Event left out); or
// each call of one as its numbers, without the handle but for tv_Event, which
// adds the codes it carries.
QStringList calls(const char *function = nullptr);
// The next call of function after skip others returns status, unseen by the library.
void fail(const char *function, int status, int skip = 0);

} // namespace ApiSpy
