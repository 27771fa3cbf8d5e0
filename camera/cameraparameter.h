// One adjustable camera parameter: its range, step and value, kept in step
// with the camera by Camera and shown by the parameter widgets. A plain
// record; T is int for pixel clock and gain, double for frame rate and
// exposure. Signals carry a reference to Camera's own member, which the
// receiver reads at once.
#pragma once

template<typename T>
struct CameraParameter
{
    T min = 0;
    T max = 0;
    T inc = 1;
    T value = 0;
};
