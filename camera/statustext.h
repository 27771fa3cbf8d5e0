// Turns a status of the camera library into words for the user: the library's
// own text with the number behind it, or, for a status the library has no
// text for, the number alone in a sentence. Shared by every class that talks
// to the library; any thread.
#pragma once

#include <QString>

#include <cstdint>

// "The hot pixel file can't be written. (status 24)"
QString tavoStatusText(int32_t status);

// Throws std::runtime_error with tavoStatusText(status), after "what: " when
// what is given.
[[noreturn]] void throwTavoStatus(int32_t status, const QString &what = QString());
