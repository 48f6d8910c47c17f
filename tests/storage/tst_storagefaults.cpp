// What the containers do when the disk lets them down: a read that fails or finds the file shorter
// than it was fails the load with a reason and leaves no partial table; a read-only table notices
// a file changed under its index and shows none of its cells; a save keeps the file's mode.
#include "storage/containertesthelpers.h"
#include "storage/editabledatacontainer.h"
#include "storage/mappedfile.h"
#include "storage/piecereader.h"
#include "storage/readonlydatacontainer.h"

#include <QDateTime>
#include <QFileInfo>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace {

// Cell (r, c) of the sample: some are quoted, with a delimiter and a line break in them.
bool quotedCell(int r, int c) {
    return (r + c) % 5 == 0;
}
QByteArray cellText(int r, int c) {
    return quotedCell(r, c) ? "q," + QByteArray::number(r) + "\n" : "v" + QByteArray::number(r * 8 + c);
}

// `rows` rows of eight cells.
QByteArray sampleText(int rows) {
    QByteArray text;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < 8; ++c) {
            if (c)
                text += ',';
            text += quotedCell(r, c) ? "\"" + cellText(r, c) + "\"" : cellText(r, c);
        }
        text += '\n';
    }
    return text;
}

// Turns the read fault off whatever the test's outcome.
struct FaultGuard {
    FaultGuard(qint64 from, int error) { PieceReader::setReadFaultForTesting(from, error); }
    ~FaultGuard() { PieceReader::setReadFaultForTesting(-1, 0); }
};

} // namespace

class TestStorageFaults : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup() {
        EditableDataContainer::setPieceSizeForTesting(0);
        EditableDataContainer::setSplitLoadForTesting(0);
        ReadOnlyDataContainer::setPieceSizeForTesting(0);
        PieceReader::setReadFaultForTesting(-1, 0);
        EditableDataContainer::setMappedLoadForTesting(EditableDataContainer::MappedLoad::BySize);
        MappedFile::setAfterMapForTesting({});
    }

    void readFaultFailsTheLoad_data() {
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<int>("rows");
        QTest::addColumn<qint64>("piece");     // 0: the default
        QTest::addColumn<qint64>("splitPart"); // editable: read in parts of this size
        QTest::addColumn<int>("error");        // 0: the file ends early
        QTest::addColumn<double>("at");        // where the fault starts, as a share of the file
        for (const int error : {EIO, 0}) {
            const char* what = error ? "error" : "cut short";
            QTest::addRow("editable, one piece, %s", what)
                << false << 200 << qint64(0) << qint64(0) << error << 0.5;
            QTest::addRow("editable, small pieces, %s", what)
                << false << 200 << qint64(64) << qint64(0) << error << 0.7;
            QTest::addRow("editable, read ahead, %s", what)
                << false << 20000 << qint64(65536) << qint64(0) << error << 0.4;
            QTest::addRow("editable, in parts, %s", what)
                << false << 20000 << qint64(0) << qint64(32768) << error << 0.9;
            QTest::addRow("editable, in its last byte, %s", what)
                << false << 50 << qint64(0) << qint64(0) << error << 1.0;
            QTest::addRow("read-only, one piece, %s", what)
                << true << 200 << qint64(0) << qint64(0) << error << 0.5;
            QTest::addRow("read-only, small pieces, %s", what)
                << true << 200 << qint64(64) << qint64(0) << error << 0.3;
            QTest::addRow("read-only, read ahead, %s", what)
                << true << 20000 << qint64(65536) << qint64(0) << error << 0.6;
        }
    }

    void readFaultFailsTheLoad() {
        QFETCH(bool, readOnly);
        QFETCH(int, rows);
        QFETCH(qint64, piece);
        QFETCH(qint64, splitPart);
        QFETCH(int, error);
        QFETCH(double, at);
        TempFiles files;
        const QByteArray text = sampleText(rows);
        const QString path = files.write(text);
        EditableDataContainer::setPieceSizeForTesting(piece);
        EditableDataContainer::setSplitLoadForTesting(splitPart > 0 ? splitPart : -1);
        ReadOnlyDataContainer::setPieceSizeForTesting(piece);
        const qint64 from = std::min<qint64>(qint64(double(text.size()) * at), text.size() - 1);

        std::unique_ptr<AbstractDataContainer> c;
        if (readOnly)
            c = std::make_unique<ReadOnlyDataContainer>();
        else
            c = std::make_unique<EditableDataContainer>();
        c->setFilepath(path);
        QSignalSpy finished(c.get(), &AbstractDataContainer::loadFinishedSignal);
        {
            const FaultGuard fault(from, error);
            QVERIFY(!c->loadCSV());
        }
        QCOMPARE(finished.count(), 0);
        // Nothing of the part read stands in for the file.
        QCOMPARE(c->numRows(), 0);
        QCOMPARE(c->numCols(), 0);
        const QString expected =
            error ? QString::fromLocal8Bit(std::strerror(error)) : QStringLiteral("got shorter");
        QVERIFY2(c->getErrorString().contains(expected), qPrintable(c->getErrorString()));

        // Without the fault the same container reads the whole file.
        QVERIFY(c->loadCSV());
        QCOMPARE(c->numRows(), rows);
        for (const int col : {0, 7})
            QCOMPARE(show(c->getValue(rows - 1, col, false)), cellText(rows - 1, col));
        QVERIFY(c->getErrorString().isEmpty());
    }

    // Another program cuts the file short once the load has mapped it: the pages behind the new
    // end fault as the loader or a helper comes to them, which must neither end the program nor
    // leave a part of the file standing in for all of it.
    void cutShortUnderAMappedLoad_data() {
        QTest::addColumn<qint64>("splitPart"); // read in parts of this size, or in one go
        QTest::addColumn<double>("at");        // the new size, as a share of the file
        for (const qint64 part : {qint64(0), qint64(65536)}) {
            const char* how = part ? "in parts" : "in one go";
            QTest::addRow("%s, emptied", how) << part << 0.0;
            QTest::addRow("%s, to a third", how) << part << 0.33;
            QTest::addRow("%s, to a page", how) << part << -1.0;
            QTest::addRow("%s, in the last piece", how) << part << 0.9999;
        }
    }

    void cutShortUnderAMappedLoad() {
        QFETCH(qint64, splitPart);
        QFETCH(double, at);
        TempFiles files;
        const int rows = 20000;
        const QByteArray text = sampleText(rows);
        const QString path = files.write(text);
        EditableDataContainer::setPieceSizeForTesting(16384);
        EditableDataContainer::setSplitLoadForTesting(splitPart > 0 ? splitPart : -1);
        EditableDataContainer::setMappedLoadForTesting(EditableDataContainer::MappedLoad::Always);
        const qint64 cut = at < 0 ? 4096 : qint64(double(text.size()) * at);
        MappedFile::setAfterMapForTesting([&] { QFile::resize(path, cut); });

        EditableDataContainer c;
        c.setFilepath(path);
        QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
        QVERIFY(!c.loadCSV());
        QCOMPARE(finished.count(), 0);
        QCOMPARE(c.numRows(), 0);
        QCOMPARE(c.numCols(), 0);
        QVERIFY2(c.getErrorString().contains(QStringLiteral("got shorter")), qPrintable(c.getErrorString()));

        // The file as it is now loads through a mapping of its own.
        MappedFile::setAfterMapForTesting({});
        QVERIFY(c.loadCSV());
        QVERIFY(c.numRows() <= rows);
    }

    // The file is cut short, rewritten with other text of the same size, or grows, behind the
    // back of a read-only table: from the next read on, every cell reads empty and the change is
    // told once; a save refuses to copy the file and leaves the target whole.
    void readOnlyNoticesAChangedFile_data() {
        QTest::addColumn<int>("change");
        QTest::newRow("cut short") << 0;
        QTest::newRow("same size, new text") << 1;
        QTest::newRow("grown") << 2;
    }

    void readOnlyNoticesAChangedFile() {
        QFETCH(int, change);
        TempFiles files;
        const QByteArray text = sampleText(300);
        const QString path = files.write(text);
        auto ro = openAs<ReadOnlyDataContainer>(path);
        QVERIFY(ro);
        QCOMPARE(ro->numRows(), 300);
        QCOMPARE(show(ro->getValue(299, 2, false)), cellText(299, 2));
        QSignalSpy changed(ro.get(), &ReadOnlyDataContainer::fileChangedSignal);

        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadWrite));
        if (change == 0) {
            QVERIFY(f.resize(text.size() / 2));
        } else if (change == 1) {
            QByteArray other = text;
            other.replace("v", "w");
            QVERIFY(f.write(other) == other.size());
        } else {
            QVERIFY(f.seek(text.size()));
            QVERIFY(f.write("more,rows\n") > 0);
        }
        // A time of last change the system can't confuse with the indexed one.
        QVERIFY(
            f.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
        f.close();

        QVERIFY(ro->getValue(299, 2, false).empty());
        QVERIFY(ro->getValue(0, 1, false).empty());
        QVERIFY(ro->getFileChanged());
        std::vector<Bytes> row;
        ro->getRow(row, 10);
        for (const Bytes& cell : row)
            QVERIFY(cell.empty());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().at(0).toString(), path);

        const QString target = files.write("old target\n");
        QVERIFY(!ro->saveCSV(target, false, false, {}, {}));
        QVERIFY(!ro->getErrorString().isEmpty());
        QCOMPARE(readAll(target), QByteArray("old target\n"));
        QCOMPARE(ro->getFilepath(), path);
        QCOMPARE(changed.count(), 1);
    }

    // A save replaces the file with a new one that has the old one's permission bits.
    void saveKeepsPermissions_data() {
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<int>("mode");
        for (const bool readOnly : {false, true}) {
            const char* kind = readOnly ? "read-only" : "editable";
            QTest::addRow("%s, 0640", kind) << readOnly << 0640;
            QTest::addRow("%s, 0604", kind) << readOnly << 0604;
            QTest::addRow("%s, 0444", kind) << readOnly << 0444;
            QTest::addRow("%s, 0755", kind) << readOnly << 0755;
        }
    }

    void saveKeepsPermissions() {
        QFETCH(bool, readOnly);
        QFETCH(int, mode);
        TempFiles files;
        const QString source = files.write("a,b\n\"c\nd\",e\n");
        const QString target = files.write("old\n");
        const QFileDevice::Permissions permissions = permissionsOf(mode);
        QVERIFY(QFile::setPermissions(target, permissions));
        QCOMPARE(QFile::permissions(target) & kModeBits, permissions);
        // Run as root, the file belongs to someone else, and keeps that owner.
        const bool root = ::getuid() == 0;
        if (root)
            QCOMPARE(::chown(QFile::encodeName(target).constData(), 65534, 65534), 0);

        std::unique_ptr<AbstractDataContainer> c;
        if (readOnly)
            c = openAs<ReadOnlyDataContainer>(source);
        else
            c = openAs<EditableDataContainer>(source);
        QVERIFY(c);
        QVERIFY(c->saveCSV(target, false, false, {}, {}));
        QCOMPARE(readAll(target), QByteArray("a,b\n\"c\nd\",e\n"));
        QCOMPARE(QFile::permissions(target) & kModeBits, permissions);
        if (root) {
            QCOMPARE(QFileInfo(target).ownerId(), 65534u);
            QCOMPARE(QFileInfo(target).groupId(), 65534u);
        }
    }

private:
    // The file's own bits; the "user" flags say what the running user may do, which for root
    // is anything.
    static constexpr QFileDevice::Permissions kModeBits =
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup |
        QFileDevice::WriteGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::WriteOther |
        QFileDevice::ExeOther;

    static QFileDevice::Permissions permissionsOf(int mode) {
        QFileDevice::Permissions p;
        const std::pair<int, QFileDevice::Permissions> bits[] = {
            {0400, QFileDevice::ReadOwner}, {0200, QFileDevice::WriteOwner}, {0100, QFileDevice::ExeOwner},
            {0040, QFileDevice::ReadGroup}, {0020, QFileDevice::WriteGroup}, {0010, QFileDevice::ExeGroup},
            {0004, QFileDevice::ReadOther}, {0002, QFileDevice::WriteOther}, {0001, QFileDevice::ExeOther}};
        for (const auto& [bit, flags] : bits)
            if (mode & bit)
                p |= flags;
        return p;
    }
};

QTEST_GUILESS_MAIN(TestStorageFaults)
#include "tst_storagefaults.moc"
