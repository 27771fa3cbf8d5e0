// One step of the hot pixel list's undo history: the rows that the list
// commands can change, as they were before and after the step. The factory
// pixels (class 0), which only the camera brings, are never part of a step.
// The main window makes a step after the change has happened and pushes it
// onto its QUndoStack, so the first redo does nothing. Undo and redo go
// through the model's public operations, so that its views and its class
// column follow as for any other change. GUI thread only; the model must
// outlive the step.
#pragma once

#include "hotpixel/badpixellistmodel.h"

#include <QList>
#include <QUndoCommand>

class BadpixelListCommand : public QUndoCommand
{
public:
    BadpixelListCommand(BadpixelListModel *model, const QString &text,
                        const QList<BadpixelEntry> &before, const QList<BadpixelEntry> &after);

    // The rows of model that a step keeps: all but the factory pixels, in
    // list order.
    static QList<BadpixelEntry> changeableRows(const BadpixelListModel &model);
    static bool sameRows(const QList<BadpixelEntry> &a, const QList<BadpixelEntry> &b);

    void undo() override;
    void redo() override;

private:
    // Replaces the changeable rows of the model by rows; throws
    // std::runtime_error if they can't be handed over.
    void apply(const QList<BadpixelEntry> &rows);

    BadpixelListModel *m_model;
    QList<BadpixelEntry> m_before;
    QList<BadpixelEntry> m_after;
    bool m_applied = true; // the change has happened when the step is made
};
