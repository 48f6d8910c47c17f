// A mapped file cut short under its reader: the faults that raises are contained inside a
// reading of the mapping and passed on everywhere else.

#include "storage/mappedfile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

qint64 pageSize() {
    return static_cast<qint64>(sysconf(_SC_PAGESIZE));
}

QByteArray pattern(qint64 size) {
    QByteArray text(size, '\0');
    for (qint64 i = 0; i < size; ++i)
        text[i] = static_cast<char>('a' + i % 23);
    return text;
}

extern "C" void exitOnBusError(int) {
    _exit(42);
}

} // namespace

class TestMappedFile : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = dir.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size())
            return {};
        return path;
    }

private slots:
    // First, while no mapping was made in this process: a child installs a handler of its own and
    // then maps (which puts the guard in front of it). A fault in a mapping that isn't being read
    // reaches that handler, also while the thread reads another mapping.
    void faultOutsideAReadingIsPassedOn() {
        const qint64 page = pageSize();
        const QString cut = write(QStringLiteral("cut.bin"), pattern(4 * page));
        const QString other = write(QStringLiteral("other.bin"), pattern(page));
        QVERIFY(!cut.isEmpty() && !other.isEmpty());
        const QByteArray cutName = QFile::encodeName(cut);
        const QByteArray otherName = QFile::encodeName(other);
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            struct sigaction action = {};
            action.sa_handler = &exitOnBusError;
            sigemptyset(&action.sa_mask);
            sigaction(SIGBUS, &action, nullptr);
            const int cutFd = ::open(cutName.constData(), O_RDONLY);
            const int otherFd = ::open(otherName.constData(), O_RDONLY);
            MappedFile cutMap;
            MappedFile otherMap;
            if (!cutMap.map(cutFd, 4 * page) || !otherMap.map(otherFd, page) ||
                ::truncate(cutName.constData(), page) != 0)
                _exit(1);
            const MappedFile::Reading reading(otherMap);
            volatile char c = cutMap.data()[2 * page];
            (void)c;
            _exit(0); // the fault was swallowed
        }
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY2(WIFEXITED(status), "the child ended by a signal");
        QCOMPARE(WEXITSTATUS(status), 42);
    }

    // The file cut to a page and a half under two mappings read one inside the other: every page
    // behind the cut reads as zeros, in the outer reading's range too, and only the mapping that
    // faulted says so, with the error of a file that got shorter.
    void faultInsideAReadingIsContained() {
        const qint64 page = pageSize();
        const qint64 size = 4 * page + 100;
        const QByteArray text = pattern(size);
        const QString path = write(QStringLiteral("inside.bin"), text);
        const QString kept = write(QStringLiteral("kept.bin"), text);
        QVERIFY(!path.isEmpty() && !kept.isEmpty());
        QFile file(path);
        QFile keptFile(kept);
        QVERIFY(file.open(QIODevice::ReadOnly) && keptFile.open(QIODevice::ReadOnly));
        MappedFile outer;
        MappedFile inner;
        QVERIFY(outer.map(file.handle(), size));
        QVERIFY(inner.map(keptFile.handle(), size));
        QCOMPARE(QByteArray(outer.data(), size), text);

        const qint64 cut = page + page / 2;
        QVERIFY(QFile::resize(path, cut));
        QByteArray seen;
        {
            const MappedFile::Reading outerReading(outer);
            const MappedFile::Reading innerReading(inner);
            QCOMPARE(QByteArray(inner.data(), size), text);
            seen = QByteArray(outer.data(), size);
        }
        QVERIFY(outer.failed());
        QVERIFY(!inner.failed());
        QCOMPARE(seen.left(cut), text.left(cut));
        QCOMPARE(seen.mid(cut), QByteArray(size - cut, '\0'));
        QCOMPARE(outer.failureError(file.handle()), 0);
        QCOMPARE(inner.failureError(keptFile.handle()), EIO); // not shorter: the disk failed

        // A new mapping of the same size starts afresh.
        QVERIFY(QFile::resize(path, size));
        QVERIFY(outer.map(file.handle(), size));
        QVERIFY(!outer.failed());
    }

    // No mapping where the system has none to give; the caller copies instead.
    void unmappableFiles() {
        int ends[2];
        QCOMPARE(pipe(ends), 0);
        MappedFile m;
        QVERIFY(!m.map(ends[0], 4096));
        QVERIFY(!m.map(-1, 4096));
        QVERIFY(!m.isMapped());
        ::close(ends[0]);
        ::close(ends[1]);
    }
};

QTEST_GUILESS_MAIN(TestMappedFile)
#include "tst_mappedfile.moc"
