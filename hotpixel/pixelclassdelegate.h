// The editor of the hot pixel list's class column: a combo box of the three
// class words. The model never reports the column editable, so views don't
// open it on their own. GUI thread only.
#pragma once

#include <QItemDelegate>

class PixelclassDelegate : public QItemDelegate
{
    Q_OBJECT

public:
    explicit PixelclassDelegate(QObject *parent = nullptr);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model,
                      const QModelIndex &index) const override;
    void updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const override;
};
