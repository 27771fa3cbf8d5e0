#include "hotpixel/pixelclassdelegate.h"

#include <QComboBox>

PixelclassDelegate::PixelclassDelegate(QObject *parent)
    : QItemDelegate(parent)
{ }

QWidget *PixelclassDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                          const QModelIndex &) const
{
    auto *editor = new QComboBox(parent);
    editor->addItem(tr("factory"));
    editor->addItem(tr("user"));
    editor->addItem(tr("ignore"));
    return editor;
}

void PixelclassDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    const QString text = index.model()->data(index, Qt::EditRole).toString();
    auto *comboBox = static_cast<QComboBox *>(editor);
    comboBox->setCurrentIndex(comboBox->findText(text));
}

void PixelclassDelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                      const QModelIndex &index) const
{
    const auto *comboBox = static_cast<QComboBox *>(editor);
    model->setData(index, QVariant(comboBox->currentText()), Qt::EditRole);
}

void PixelclassDelegate::updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                                              const QModelIndex &) const
{
    editor->setGeometry(option.rect);
}
