// DetectionRun: one hot pixel detection run without any widget. It is fed the
// live frames one by one, keeps a deep copy of each, refuses a frame that is
// not dark, and at the frame after the tenth hands the ten to a
// HotpixelDetector and merges what it finds into the list, through addPixel,
// so that only positions new to the list land there. The window and the
// command line tool drive it alike. It lives on the thread that feeds it the
// frames, usually the GUI thread, and runs the detector there; one object can
// serve any number of runs, one after the other.
#pragma once

#include <QImage>
#include <QObject>
#include <QString>
#include <QVector>

class BadpixelListModel;

class DetectionRun : public QObject
{
    Q_OBJECT

public:
    // Frames collected per run; the frame after the last one only triggers
    // the hand-over, so a run takes one frame more from the stream.
    static constexpr int framesPerRun = 10;
    // Added to the progress per collected frame: 100 at the tenth.
    static constexpr int progressStep = 10;
    // A byte counts as bright at this value or above, and this many bright
    // bytes in one frame fail the run. Fixed numbers, whatever the threshold.
    static constexpr uchar brightByteLimit = 101;
    static constexpr int brightCountLimit = 5001;

    // The detector's pixels go to list, which must outlive the object. With a
    // null list a run only collects its frames and hands them over through
    // framesCollected, with no detection.
    explicit DetectionRun(BadpixelListModel *list, QObject *parent = nullptr);
    ~DetectionRun() override;

    // Starts collecting with the next frame; clear first removes the user
    // pixels of the list, whatever becomes of the run.
    void start(unsigned threshold, bool clear);
    bool isCollecting() const { return m_collecting; }
    unsigned threshold() const { return m_threshold; }

    // Feeds one frame of the stream, taken in the camera's colorMode; the
    // frame is copied, so it may go back to the camera afterwards. Outside a
    // run it does nothing.
    void addFrame(const QImage &image, int colorMode);

    // True if the frame holds brightCountLimit bytes of brightByteLimit or
    // more, counted over its bytes, padding included.
    static bool isTooBright(const QImage &image);

    // The words for the user after tooBright, and after failed(text).
    static QString tooBrightText();
    static QString failedText(const QString &text);

signals:
    // 10, 20, ... 100 as the frames come in.
    void progress(int value);
    // A frame was not dark: the run has ended and its frames are dropped.
    void tooBright();
    // The ten frames, just before they go to the detector.
    void framesCollected(const QVector<QImage> &frames);
    // Passed on from the detector: once for a run that ended normally and once
    // for one that failed while its matrices were built.
    void detectionFinished();
    // The detector failed with this text; the list has not changed.
    void failed(const QString &text);
    // The hand-over is done, with success or failure; the run has ended.
    void finished();

private:
    void handOver(int colorMode);

    BadpixelListModel *m_list;
    unsigned m_threshold = 0;
    bool m_collecting = false;
    int m_progress = 0; // 0 outside a run
    QVector<QImage> m_images;
};
