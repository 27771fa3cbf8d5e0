// Bounds on the camera settings file before it reaches the DOM, which builds
// its tree by recursion and so can be made to overflow the stack: a size
// limit, a nesting limit and no declarations in a document type (where
// entities could multiply). The check itself walks the file with QXmlStreamReader,
// which keeps its own stack and needs no recursion. Stateless; any thread.
#pragma once

#include <QByteArray>
#include <QString>

QT_BEGIN_NAMESPACE
class QIODevice;
QT_END_NAMESPACE

class SettingsFileCheck
{
public:
    // A settings file is a few kilobytes, three levels deep; these limits
    // leave room for any real file many times over.
    static constexpr qint64 maxBytes = 1024 * 1024;
    static constexpr int maxDepth = 32;

    // True if the text may go to QDomDocument; otherwise reason says why, in
    // words for the user. Text that isn't well-formed XML is refused here
    // too, so the DOM never meets what this check could not walk.
    static bool check(const QByteArray &text, QString *reason);
    // Reads at most one byte more than maxBytes from device into text, then
    // checks it.
    static bool read(QIODevice &device, QByteArray *text, QString *reason);
};
