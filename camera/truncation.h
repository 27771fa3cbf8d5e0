// The conversions of a double to a 32-bit integer that the program uses, in
// one place. Plain functions, any thread.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

// Truncates toward zero and saturates: values beyond the integer range give
// its nearer end, NaN gives 0. A division by a zero scale or step thus gives
// the far edge on every processor, never an undefined conversion.
inline int truncateToInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= double(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (value <= double(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return int(value);
}

// Truncates toward zero as the processor's own conversion does: NaN and
// values out of range give the integer minimum. The result stays a double,
// for the setters that take one.
inline double truncateAsProcessor(double value)
{
    if (!(value > -2147483649.0 && value < 2147483648.0))
        return double(std::numeric_limits<int32_t>::min());
    return double(int32_t(value));
}
