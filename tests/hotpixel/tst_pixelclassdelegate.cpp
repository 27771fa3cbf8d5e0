// The class column's editor: its items, and the round trip from the model's
// text into the combo box and back into the model.

#include "hotpixel/badpixellistmodel.h"
#include "hotpixel/pixelclassdelegate.h"

#include <QComboBox>
#include <QFile>
#include <QStandardItemModel>
#include <QStyleOptionViewItem>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest>

#include <memory>

class tst_PixelclassDelegate : public QObject
{
    Q_OBJECT

private slots:
    void editorItems();
    void roundTrip_data();
    void roundTrip();
    void unknownText();
    void geometry();
};

void tst_PixelclassDelegate::editorItems()
{
    PixelclassDelegate delegate;
    QWidget parent;
    BadpixelListModel model;
    model.addPixel(QPoint(1, 1));

    // Every row gets the same three items, whatever its class.
    QWidget *editor = delegate.createEditor(&parent, QStyleOptionViewItem(), model.index(0, 2));
    auto *comboBox = qobject_cast<QComboBox *>(editor);
    QVERIFY(comboBox);
    QCOMPARE(comboBox->parentWidget(), &parent);
    QCOMPARE(comboBox->count(), 3);
    QCOMPARE(comboBox->itemText(0), QStringLiteral("factory"));
    QCOMPARE(comboBox->itemText(1), QStringLiteral("user"));
    QCOMPARE(comboBox->itemText(2), QStringLiteral("ignore"));
    for (int i = 0; i < 3; ++i) {
        QVERIFY(comboBox->itemIcon(i).isNull());
        QVERIFY(!comboBox->itemData(i).isValid());
    }
}

void tst_PixelclassDelegate::roundTrip_data()
{
    QTest::addColumn<int>("pixelClass");
    QTest::addColumn<int>("shown");
    QTest::addColumn<int>("chosen");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("resultText");

    QTest::newRow("factory pixel kept") << 0 << 2 << 2 << 0 << "ignore";
    QTest::newRow("factory pixel to user") << 0 << 2 << 1 << 1 << "user";
    QTest::newRow("user pixel kept") << 1 << 1 << 1 << 1 << "user";
    QTest::newRow("user pixel to factory") << 1 << 1 << 0 << 0 << "ignore";
    QTest::newRow("user pixel, ignore refused") << 1 << 1 << 2 << 1 << "user";
    QTest::newRow("imported class 2 to factory") << 2 << 0 << 0 << 0 << "ignore";
    QTest::newRow("imported class 200 kept") << 200 << 0 << 2 << 200 << "factory";
    QTest::newRow("imported class 200 to user") << 200 << 0 << 1 << 1 << "user";
}

void tst_PixelclassDelegate::roundTrip()
{
    QFETCH(int, pixelClass);
    QFETCH(int, shown);
    QFETCH(int, chosen);
    QFETCH(int, result);
    QFETCH(QString, resultText);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("row.txt"));
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("4 5 ") + QByteArray::number(pixelClass) + '\n');
    }
    BadpixelListModel model;
    model.importFromFile(path);
    QCOMPARE(model.pixelAt(0).pixelClass, quint8(pixelClass));

    PixelclassDelegate delegate;
    QWidget parent;
    const QModelIndex index = model.index(0, 2);
    std::unique_ptr<QWidget> editor(delegate.createEditor(&parent, QStyleOptionViewItem(), index));
    auto *comboBox = qobject_cast<QComboBox *>(editor.get());
    QVERIFY(comboBox);
    delegate.setEditorData(comboBox, index);
    QCOMPARE(comboBox->currentIndex(), shown);

    comboBox->setCurrentIndex(chosen);
    delegate.setModelData(comboBox, &model, index);
    QCOMPARE(int(model.pixelAt(0).pixelClass), result);
    QCOMPARE(model.data(index).toString(), resultText);
    QCOMPARE(model.pixelAt(0).x, quint16(4));
    QCOMPARE(model.pixelAt(0).y, quint16(5));
}

void tst_PixelclassDelegate::unknownText()
{
    // A model whose text is empty or not one of the words: no item is current.
    QStandardItemModel model(1, 1);
    PixelclassDelegate delegate;
    QWidget parent;
    std::unique_ptr<QWidget> editor(
            delegate.createEditor(&parent, QStyleOptionViewItem(), model.index(0, 0)));
    auto *comboBox = static_cast<QComboBox *>(editor.get());
    comboBox->setCurrentIndex(1);
    delegate.setEditorData(comboBox, model.index(0, 0));
    QCOMPARE(comboBox->currentIndex(), -1);

    comboBox->setCurrentIndex(1);
    model.setData(model.index(0, 0), QStringLiteral("User"));
    delegate.setEditorData(comboBox, model.index(0, 0));
    QCOMPARE(comboBox->currentIndex(), -1);

    // What is written back is the current text as a string, in the edit role.
    comboBox->setCurrentIndex(0);
    delegate.setModelData(comboBox, &model, model.index(0, 0));
    QCOMPARE(model.data(model.index(0, 0), Qt::EditRole), QVariant(QStringLiteral("factory")));
}

void tst_PixelclassDelegate::geometry()
{
    PixelclassDelegate delegate;
    QWidget parent;
    BadpixelListModel model;
    model.addPixel(QPoint(1, 1));
    std::unique_ptr<QWidget> editor(
            delegate.createEditor(&parent, QStyleOptionViewItem(), model.index(0, 2)));
    QStyleOptionViewItem option;
    option.rect = QRect(13, 27, 80, 21);
    delegate.updateEditorGeometry(editor.get(), option, model.index(0, 2));
    QCOMPARE(editor->geometry(), option.rect);
}

QTEST_MAIN(tst_PixelclassDelegate)
#include "tst_pixelclassdelegate.moc"
