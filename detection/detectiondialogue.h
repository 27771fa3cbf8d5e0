// DetectionDialogue: the small window of a hot pixel detection run. The user
// sets the threshold, chooses whether the old user pixels go, presses Start
// and watches the progress and the count of new pixels. It does no detection
// itself: Start emits startDetect, and the main window answers through the
// slots. GUI thread.
#pragma once

#include <QDialog>
#include <QString>

#include <memory>

class ParameterWidget;
class QCheckBox;
class QDialogButtonBox;
class QKeyEvent;
class QLabel;
class QProgressBar;

class DetectionDialogue : public QDialog
{
    Q_OBJECT

public:
    explicit DetectionDialogue(QWidget *parent);
    ~DetectionDialogue() override;

    // Shows the text of a failed run; the count becomes "-".
    void showError(QString text);

signals:
    void startDetect(bool clear, int threshold);

public slots:
    void updateProgress(int value);
    void finishDetect();
    void abortDetect();
    void addDetectedPixel(int count);

protected:
    // Escape and Enter do nothing here: a run can't be broken off by a key.
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void detect();

private:
    void setControlsEnabled(bool enabled);

    std::unique_ptr<ParameterWidget> m_thresholdWidget; // not a widget: owned here
    QCheckBox *m_clearCheck;
    QDialogButtonBox *m_buttons;
    QLabel *m_statusLabel;
    QLabel *m_countLabel;
    QLabel *m_messageLabel;
    QProgressBar *m_progress;
    unsigned int m_detected = 0;
};
