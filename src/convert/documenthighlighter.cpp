#include "convert/documenthighlighter.h"

DocumentHighlighter::DocumentHighlighter(QTextDocument* document, FileType type)
    : QSyntaxHighlighter(document), type(type) {
    setColors(Colors{});
}

void DocumentHighlighter::setColors(const Colors& colors) {
    keyFormat.setForeground(colors.key);
    stringFormat.setForeground(colors.string);
    numberFormat.setForeground(colors.number);
    wordFormat.setForeground(colors.word);
    commentFormat.setForeground(colors.comment);
    rehighlight();
}

void DocumentHighlighter::highlightBlock(const QString& text) {
    if (type == FILE_TYPE_JSON)
        highlightJson(text);
    else if (type == FILE_TYPE_XML)
        highlightXml(text);
}

void DocumentHighlighter::highlightJson(const QString& text) {
    const qsizetype n = text.size();
    qsizetype i = 0;
    int state = previousBlockState();
    // A string or block comment left open goes on from the line before.
    if (state == InString || state == InComment) {
        const bool comment = state == InComment;
        while (i < n) {
            if (comment && text.at(i) == u'*' && i + 1 < n && text.at(i + 1) == u'/') {
                i += 2;
                state = Plain;
                break;
            }
            if (!comment && text.at(i) == u'\\') {
                i += 2;
                continue;
            }
            if (!comment && text.at(i) == u'"') {
                ++i;
                state = Plain;
                break;
            }
            ++i;
        }
        i = std::min(i, n);
        setFormat(0, static_cast<int>(i), comment ? commentFormat : stringFormat);
        if (state != Plain) {
            setCurrentBlockState(state);
            return;
        }
    }
    state = Plain;
    while (i < n) {
        const QChar c = text.at(i);
        if (c == u'"') {
            const qsizetype start = i++;
            while (i < n && text.at(i) != u'"')
                i += text.at(i) == u'\\' ? 2 : 1;
            const bool closed = i < n;
            i = std::min(i + 1, n);
            // A string followed by a colon is a key.
            qsizetype next = i;
            while (next < n && text.at(next).isSpace())
                ++next;
            const bool key = next < n && text.at(next) == u':';
            setFormat(static_cast<int>(start), static_cast<int>(i - start), key ? keyFormat : stringFormat);
            if (!closed)
                state = InString;
        } else if (c == u'/' && i + 1 < n && text.at(i + 1) == u'/') {
            setFormat(static_cast<int>(i), static_cast<int>(n - i), commentFormat);
            i = n;
        } else if (c == u'/' && i + 1 < n && text.at(i + 1) == u'*') {
            const qsizetype end = text.indexOf(QLatin1String("*/"), i + 2);
            const qsizetype stop = end < 0 ? n : end + 2;
            setFormat(static_cast<int>(i), static_cast<int>(stop - i), commentFormat);
            if (end < 0)
                state = InComment;
            i = stop;
        } else if (c.isDigit() || c == u'-') {
            const qsizetype start = i;
            while (i < n && (text.at(i).isDigit() || text.at(i) == u'.' || text.at(i) == u'-' ||
                             text.at(i) == u'+' || text.at(i) == u'e' || text.at(i) == u'E'))
                ++i;
            setFormat(static_cast<int>(start), static_cast<int>(i - start), numberFormat);
        } else if (c.isLetter()) {
            const qsizetype start = i;
            while (i < n && text.at(i).isLetter())
                ++i;
            setFormat(static_cast<int>(start), static_cast<int>(i - start), wordFormat);
        } else {
            ++i;
        }
    }
    setCurrentBlockState(state);
}

void DocumentHighlighter::highlightXml(const QString& text) {
    const qsizetype n = text.size();
    qsizetype i = 0;
    int state = previousBlockState();
    // Ends a run that the line before left open at `close`, or colours the whole line.
    const auto carry = [&](const QLatin1String& close, const QTextCharFormat& format) {
        const qsizetype end = text.indexOf(close, i);
        const qsizetype stop = end < 0 ? n : end + close.size();
        setFormat(static_cast<int>(i), static_cast<int>(stop - i), format);
        i = stop;
        return end >= 0;
    };
    if (state == InComment && !carry(QLatin1String("-->"), commentFormat)) {
        setCurrentBlockState(InComment);
        return;
    }
    if (state == InCdata && !carry(QLatin1String("]]>"), stringFormat)) {
        setCurrentBlockState(InCdata);
        return;
    }
    bool inTag = state == InTag || state == InValue;
    QChar quote = u'"';
    if (state == InValue) {
        // An attribute value that spans lines: its quote is not known here, either ends it.
        const qsizetype start = i;
        while (i < n && text.at(i) != u'"' && text.at(i) != u'\'')
            ++i;
        if (i >= n) {
            setFormat(0, static_cast<int>(n), stringFormat);
            setCurrentBlockState(InValue);
            return;
        }
        ++i;
        setFormat(static_cast<int>(start), static_cast<int>(i - start), stringFormat);
    }
    state = Plain;
    while (i < n) {
        const QChar c = text.at(i);
        if (!inTag) {
            if (c != u'<') {
                ++i;
                continue;
            }
            if (QStringView(text).mid(i).startsWith(QLatin1String("<!--"))) {
                if (!carry(QLatin1String("-->"), commentFormat))
                    state = InComment;
                continue;
            }
            if (QStringView(text).mid(i).startsWith(QLatin1String("<![CDATA["))) {
                if (!carry(QLatin1String("]]>"), stringFormat))
                    state = InCdata;
                continue;
            }
            // The tag's name, with its "<", "</", "<?" or "<!".
            const qsizetype start = i++;
            while (i < n && !text.at(i).isSpace() && text.at(i) != u'>' && text.at(i) != u'/')
                ++i;
            if (i < n && text.at(i) == u'/' && i == start + 1)
                ++i;
            while (i < n && !text.at(i).isSpace() && text.at(i) != u'>' && text.at(i) != u'/')
                ++i;
            setFormat(static_cast<int>(start), static_cast<int>(i - start), keyFormat);
            inTag = true;
            continue;
        }
        if (c == u'>' || (c == u'/' && i + 1 < n && text.at(i + 1) == u'>') ||
            (c == u'?' && i + 1 < n && text.at(i + 1) == u'>')) {
            const qsizetype width = c == u'>' ? 1 : 2;
            setFormat(static_cast<int>(i), static_cast<int>(width), keyFormat);
            i += width;
            inTag = false;
        } else if (c == u'"' || c == u'\'') {
            quote = c;
            const qsizetype start = i++;
            while (i < n && text.at(i) != quote)
                ++i;
            const bool closed = i < n;
            i = std::min(i + 1, n);
            setFormat(static_cast<int>(start), static_cast<int>(i - start), stringFormat);
            if (!closed)
                state = InValue;
        } else if (!c.isSpace() && c != u'=') {
            const qsizetype start = i;
            while (i < n && !text.at(i).isSpace() && text.at(i) != u'=' && text.at(i) != u'>' &&
                   text.at(i) != u'/')
                ++i;
            setFormat(static_cast<int>(start), static_cast<int>(std::max<qsizetype>(i - start, 1)),
                      wordFormat);
            i = std::max(i, start + 1);
        } else {
            ++i;
        }
    }
    if (state == Plain && inTag)
        state = InTag;
    setCurrentBlockState(state);
}
