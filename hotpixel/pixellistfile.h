// PixelListFile: reads and writes plain lists of pixel positions in the text
// formats that hot pixel lists are exchanged in, so that a list can be
// converted from one to another. No widget and no camera; any thread.
//
// The three formats, and where their coordinates start:
// - Text: this program's own list file, "x y class" a line, the class 1 for
//   a user pixel. x counts the columns and y the rows of the camera frame,
//   both from 0 at its top left pixel.
// - Dcraw: a ".badpixels" file of the raw converter dcraw, "column row time"
//   a line with "#" starting a comment; time is the UNIX time from which the
//   pixel is dead, 0 for always. Its manual page (FILES, and the -P option)
//   gives column and row of the raw sensor data "before any stretching or
//   rotation", located in the unrotated raw picture (dcraw -j -t 0) whose top
//   left pixel is column 0, row 0: the same origin as ours.
// - Siril: the cosmetic correction list of the astronomy program Siril, as
//   written by its find_hot command and read by cosme and calibrate -cc=bpm:
//   "P x y [type]" a line for one pixel, type H (hot) or C (cold); "C x 0"
//   and "L y 0" stand for a whole bad column or line. Its command reference
//   gives "the pixel at coordinates (x, y)". Siril keeps every picture in
//   the row order of the FITS standard, bottom-up, and turns a top-down
//   picture over when it loads it ("Orientation of FITS images" in its
//   manual on FITS); its coordinates are those of that data, from 0. So x is
//   ours, and y counts the rows from the bottom: y = height - 1 - our y. The
//   conversion needs the sensor's height for that.
//
// A position is 0 to 65535 in each direction, like the camera's lists.
#pragma once

#include <QPoint>
#include <QString>
#include <QVector>

class PixelListFile
{
public:
    enum Format { Text, Dcraw, Siril, Unknown };

    // "text", "dcraw", "siril"; Unknown for anything else.
    static Format formatFromName(const QString &name);
    static QString formatName(Format format);
    // By the suffix: ".txt" Text, ".badpixels" Dcraw (also the bare name
    // ".badpixels"), ".lst" Siril; Unknown for anything else.
    static Format formatFromFileName(const QString &fileName);

    // The positions in the file, in its order, in our coordinates; height is
    // the number of sensor rows, needed for Siril's lists only (0: unknown).
    // Throws std::runtime_error naming the file and the line for a file that
    // can't be read or a line that doesn't fit the format or the height, and
    // for a Siril list without a height.
    static QVector<QPoint> read(const QString &fileName, Format format, int height = 0);
    // Writes the positions; an existing file is replaced. Throws
    // std::runtime_error if the file can't be written, or for a Siril list
    // without a height or with a position below it.
    static void write(const QString &fileName, Format format, const QVector<QPoint> &pixels,
                      int height = 0);

    // The same on text in memory; the file name only goes into messages.
    static QVector<QPoint> parse(const QString &text, Format format, int height = 0,
                                 const QString &fileName = QString());
    static QString format(Format format, const QVector<QPoint> &pixels, int height = 0);
};
