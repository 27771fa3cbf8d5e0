// PixelGrid: which image positions belong to one matrix of the detector: the
// first column and row, and the distances between columns and between rows.
// A plain value.
#pragma once

#include <cstdint>

struct PixelGrid
{
    std::uint8_t startX; // column of the first position of every line
    std::uint8_t startY; // row of the first position
    std::uint8_t stepX; // distance between columns
    std::uint8_t stepY; // distance between rows
};
