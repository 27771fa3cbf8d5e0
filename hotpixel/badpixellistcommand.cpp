#include "hotpixel/badpixellistcommand.h"

#include <QTemporaryFile>
#include <QTextStream>

#include <algorithm>
#include <stdexcept>

BadpixelListCommand::BadpixelListCommand(BadpixelListModel *model, const QString &text,
                                         const QList<BadpixelEntry> &before,
                                         const QList<BadpixelEntry> &after)
    : QUndoCommand(text)
    , m_model(model)
    , m_before(before)
    , m_after(after)
{ }

QList<BadpixelEntry> BadpixelListCommand::changeableRows(const BadpixelListModel &model)
{
    QList<BadpixelEntry> rows = model.pixels();
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [](const BadpixelEntry &entry) { return entry.pixelClass == 0; }),
               rows.end());
    return rows;
}

bool BadpixelListCommand::sameRows(const QList<BadpixelEntry> &a, const QList<BadpixelEntry> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const BadpixelEntry &x, const BadpixelEntry &y) {
                          return x.x == y.x && x.y == y.y && x.pixelClass == y.pixelClass;
                      });
}

void BadpixelListCommand::undo()
{
    apply(m_before);
    m_applied = false;
}

void BadpixelListCommand::redo()
{
    if (!m_applied)
        apply(m_after);
    m_applied = true;
}

void BadpixelListCommand::apply(const QList<BadpixelEntry> &rows)
{
    for (int row = m_model->rowCount() - 1; row >= 0; --row) {
        if (m_model->pixelAt(row).pixelClass != 0)
            m_model->removeRows(row, 1);
    }
    if (rows.isEmpty())
        return;
    // The text import is the one operation that takes rows of every class
    // back as they were, in their order.
    QTemporaryFile file;
    if (!file.open())
        throw std::runtime_error(file.errorString().toStdString());
    {
        QTextStream out(&file);
        for (const BadpixelEntry &entry : rows)
            out << uint(entry.x) << ' ' << uint(entry.y) << ' ' << uint(entry.pixelClass) << '\n';
    }
    file.close();
    m_model->importFromFile(file.fileName());
}
