#pragma once

#include "convert/nontablefile.h"

#include <QColor>
#include <QSyntaxHighlighter>
#include <QTextCharFormat>

// Colours the text of a JSON or XML document in the import window's preview: keys, strings,
// numbers and words of JSON; tags, attribute names and values, and comments of XML. A hand
// scanner rather than patterns, as a preview holds up to half a million characters.
class DocumentHighlighter : public QSyntaxHighlighter {
    Q_OBJECT

public:
    struct Colors {
        QColor key{0x66, 0x99, 0xdd};
        QColor string{0x33, 0x99, 0x55};
        QColor number{0xbb, 0x88, 0x00};
        QColor word{0xcc, 0x55, 0xcc};
        QColor comment{0x88, 0x88, 0x88};
    };

    DocumentHighlighter(QTextDocument* document, FileType type);
    void setColors(const Colors& colors);

protected:
    void highlightBlock(const QString& text) override;

private:
    void highlightJson(const QString& text);
    void highlightXml(const QString& text);
    // What a line left open for the next one.
    enum State { Plain = -1, InString = 1, InComment = 2, InTag = 3, InValue = 4, InCdata = 5 };

    FileType type;
    QTextCharFormat keyFormat;
    QTextCharFormat stringFormat;
    QTextCharFormat numberFormat;
    QTextCharFormat wordFormat;
    QTextCharFormat commentFormat;
};
