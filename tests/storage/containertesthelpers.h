#pragma once

// Small helpers the container tests share: temporary files, and containers opened on them.

#include "storage/abstractdatacontainer.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <cstring>
#include <memory>
#include <vector>

using Bytes = std::vector<char>;

inline Bytes bytes(const char* text) {
    return Bytes(text, text + std::strlen(text));
}

inline QByteArray show(const Bytes& v) {
    return QByteArray(v.data(), static_cast<qsizetype>(v.size()));
}

inline QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline void writeFile(const QString& path, const QByteArray& content) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(content) != content.size())
        qFatal("can't write the test file");
}

inline void writeFile(const QString& path, const Bytes& content) {
    writeFile(path, show(content));
}

// Files in a folder of their own that goes with the object.
struct TempFiles {
    QTemporaryDir dir;
    int counter = 0;

    QString write(const QByteArray& content) {
        const QString path = dir.filePath(QStringLiteral("f%1.csv").arg(counter++));
        writeFile(path, content);
        return path;
    }
};

// A container of type C loaded from `path` with these parameters, or null if the load failed.
template <class C>
std::unique_ptr<C> openAs(const QString& path, char delimiter = ',', ParsingStandard standard = RFC_4180,
                          EncodingType encoding = UTF_8) {
    auto c = std::make_unique<C>();
    c->setFilepath(path);
    c->setDelimiter(delimiter, delimiter);
    c->setParsingStandard(standard);
    c->setEncoding(encoding);
    if (!c->loadCSV())
        return nullptr;
    return c;
}
