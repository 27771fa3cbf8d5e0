// The geometry of one image buffer: a plain value passed by value between
// the camera and the display. A default one holds three zeros.
#pragma once

#include <QtGlobal>

struct ImageInfo
{
    ImageInfo() = default;
    ImageInfo(qint32 width, qint32 height, qint32 bitsPerPixel)
        : width(width)
        , height(height)
        , bitsPerPixel(bitsPerPixel)
    { }

    qint32 width = 0;
    qint32 height = 0;
    qint32 bitsPerPixel = 0; // 8 or 32
};
