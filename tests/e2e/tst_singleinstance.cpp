// Two real program processes (offscreen) sharing one primary: hand-over of files from a later
// launch, garbage on the socket, and recovery from a primary that died.
#include "app/singleapplicationprivate.h"

#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QProcess>
#include <QSettings>
#include <QSharedMemory>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <signal.h>

class TestSingleInstance : public QObject {
    Q_OBJECT

private slots:
    void init();
    void laterLaunchHandsOverItsFiles();
    void garbageOnTheSocketIsIgnored();
    void killedPrimaryIsReplaced();
    void primaryKilledDuringHandOverIsReplaced();
    void blockLeftHalfWrittenIsResetAfterFiveSeconds();
    void terminationDuringTheStartQuestionEndsCleanly();
    void questionOverAHandedOverFileOutlivesItsConnection();

private:
    std::unique_ptr<QProcess> start(const QStringList& arguments, const QString& workingDirectory);
    void waitForPrimary(QProcess& process);
    QString socketPath() const;
    void terminate(QProcess& process);
    QStringList recentFiles() const;
    QString writeTable(const QString& relativePath);

    std::unique_ptr<QTemporaryDir> dir;
};

std::unique_ptr<QProcess> TestSingleInstance::start(const QStringList& arguments,
                                                    const QString& workingDirectory) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The block, the socket and Orvane.ini all live in this test's folder.
    environment.insert("HOME", dir->filePath("home"));
    environment.insert("TMPDIR", dir->filePath("tmp"));
    environment.insert("XDG_RUNTIME_DIR", dir->filePath("tmp"));
    environment.remove("XDG_DATA_HOME");
    environment.remove("XDG_CONFIG_HOME");
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    process->setProcessEnvironment(environment);
    process->setWorkingDirectory(workingDirectory);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(ORVANE_BINARY, arguments);
    if (!process->waitForStarted(5000))
        qWarning("could not start %s", ORVANE_BINARY);
    return process;
}

QString TestSingleInstance::socketPath() const {
    const QFileInfoList entries =
        QDir(dir->filePath("tmp")).entryInfoList(QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        if (!entry.fileName().startsWith("qipc_") && !entry.isDir() && !entry.isFile())
            return entry.absoluteFilePath();
    }
    return {};
}

// The primary is ready once its socket exists and takes connections.
void TestSingleInstance::waitForPrimary(QProcess& process) {
    QElapsedTimer timer;
    timer.start();
    // Generous: a primary that waits out a half-written block takes five seconds before it starts.
    while (timer.elapsed() < 20000 && process.state() == QProcess::Running) {
        const QString path = socketPath();
        if (!path.isEmpty()) {
            QLocalSocket probe;
            probe.connectToServer(path);
            if (probe.waitForConnected(200))
                return;
        }
        QTest::qWait(50);
    }
    QFAIL("the primary process did not come up");
}

void TestSingleInstance::terminate(QProcess& process) {
    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
}

QStringList TestSingleInstance::recentFiles() const {
    const QString path = dir->filePath("home/.local/share/Orvane/Orvane.ini");
    if (!QFileInfo::exists(path))
        return {};
    QSettings ini(path, QSettings::IniFormat);
    return ini.value("main/recent_filepath_list").toStringList();
}

QString TestSingleInstance::writeTable(const QString& relativePath) {
    const QString path = dir->filePath(relativePath);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write("a,b\n1,2\n");
    return path;
}

void TestSingleInstance::init() {
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    QVERIFY(QDir(dir->path()).mkpath("home"));
    QVERIFY(QDir(dir->path()).mkpath("tmp"));
    // Not a first run: the tutorial table would open beside the files under test.
    writeTable("home/.local/share/Orvane/Tutorial (Fake Data).csv");
    QVERIFY(
        QFile::setPermissions(dir->filePath("tmp"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void TestSingleInstance::laterLaunchHandsOverItsFiles() {
    const QString first = writeTable("first.csv");
    const QString second = writeTable("elsewhere/second.csv");
    auto primary = start({first}, dir->path());
    waitForPrimary(*primary);

    // Only this user may reach the socket.
    const QFileInfo socket(socketPath());
    QCOMPARE(socket.permissions() & ~(QFile::ReadUser | QFile::WriteUser | QFile::ExeUser),
             QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    // A relative path is resolved against the later launch's own working directory.
    QElapsedTimer timer;
    timer.start();
    auto secondary = start({"second.csv"}, dir->filePath("elsewhere"));
    QVERIFY(secondary->waitForFinished(5000));
    QCOMPARE(secondary->exitStatus(), QProcess::NormalExit);
    QCOMPARE(secondary->exitCode(), 0);
    QVERIFY2(timer.elapsed() < 3000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(primary->state(), QProcess::Running);

    terminate(*primary);
    const QStringList recent = recentFiles();
    QVERIFY2(recent.contains(first) && recent.contains(second), qPrintable(recent.join(" | ")));
}

void TestSingleInstance::garbageOnTheSocketIsIgnored() {
    auto primary = start({}, dir->path());
    waitForPrimary(*primary);

    const auto sendRaw = [this](const QByteArray& bytes) {
        QLocalSocket client;
        client.connectToServer(socketPath());
        QVERIFY(client.waitForConnected(2000));
        client.write(bytes);
        QVERIFY(client.waitForBytesWritten(2000));
        client.waitForReadyRead(300);
        client.disconnectFromServer();
    };
    const auto frame = [](const QByteArray& body) {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setVersion(QDataStream::Qt_5_6);
        stream << static_cast<quint64>(body.size());
        return bytes + body;
    };
    QByteArray badChecksum = SingleApplicationPrivate::initMessage(
        QFileInfo(socketPath()).fileName().toLatin1(), SingleApplicationPrivate::NewInstance, 1);
    badChecksum[badChecksum.size() - 1] = static_cast<char>(badChecksum.back() ^ 0x5a);
    const QByteArray wrongName =
        SingleApplicationPrivate::initMessage("someone else", SingleApplicationPrivate::Reconnect, 1);

    sendRaw("not a frame at all, just text\n");
    sendRaw(QByteArray(3, '\xff'));
    sendRaw(frame(badChecksum) + frame("/tmp<orvane<" + writeTable("smuggled.csv").toUtf8()));
    sendRaw(frame(wrongName) + frame("/tmp<orvane<" + writeTable("smuggled.csv").toUtf8()));
    sendRaw(frame(QByteArray(4, '\0')));
    // A length far beyond what follows: the primary waits for bytes that never come.
    sendRaw(QByteArray(8, '\x7f') + "short");

    // Still alive, and still taking a proper hand-over.
    QCOMPARE(primary->state(), QProcess::Running);
    const QString real = writeTable("real.csv");
    auto secondary = start({real}, dir->path());
    QVERIFY(secondary->waitForFinished(5000));
    QCOMPARE(secondary->exitCode(), 0);

    terminate(*primary);
    const QStringList recent = recentFiles();
    QVERIFY2(recent.contains(real), qPrintable(recent.join(" | ")));
    QVERIFY2(!recent.contains(dir->filePath("smuggled.csv")), qPrintable(recent.join(" | ")));
}

void TestSingleInstance::killedPrimaryIsReplaced() {
    auto crashed = start({}, dir->path());
    waitForPrimary(*crashed);
    ::kill(static_cast<pid_t>(crashed->processId()), SIGKILL);
    QVERIFY(crashed->waitForFinished(5000));

    // The next launch becomes the primary at once, and the one after hands over to it.
    const QString mine = writeTable("mine.csv");
    auto next = start({mine}, dir->path());
    QVERIFY(!next->waitForFinished(1500));
    const QString later = writeTable("later.csv");
    auto secondary = start({later}, dir->path());
    QVERIFY(secondary->waitForFinished(5000));
    QCOMPARE(secondary->exitCode(), 0);

    terminate(*next);
    const QStringList recent = recentFiles();
    QVERIFY2(recent.contains(mine) && recent.contains(later), qPrintable(recent.join(" | ")));
}

// A primary that can't answer (stopped here; in life, one freeing a large table's memory after
// a kill) and then goes: the launch waiting on it takes its place and opens its file.
void TestSingleInstance::primaryKilledDuringHandOverIsReplaced() {
    auto stuck = start({}, dir->path());
    waitForPrimary(*stuck);
    const auto pid = static_cast<pid_t>(stuck->processId());
    ::kill(pid, SIGSTOP);
    const QString mine = writeTable("mine.csv");
    auto waiting = start({mine}, dir->path());
    QVERIFY(!waiting->waitForFinished(1000));
    ::kill(pid, SIGKILL);
    QVERIFY(stuck->waitForFinished(5000));

    // It keeps running as the new primary; a later launch hands over to it.
    QVERIFY(!waiting->waitForFinished(2500));
    const QString later = writeTable("later.csv");
    auto secondary = start({later}, dir->path());
    QVERIFY(secondary->waitForFinished(5000));
    QCOMPARE(secondary->exitCode(), 0);

    terminate(*waiting);
    const QStringList recent = recentFiles();
    QVERIFY2(recent.contains(mine) && recent.contains(later), qPrintable(recent.join(" | ")));
}

void TestSingleInstance::blockLeftHalfWrittenIsResetAfterFiveSeconds() {
    auto primary = start({}, dir->path());
    waitForPrimary(*primary);
    const QString name = QFileInfo(socketPath()).fileName();

    // Stay attached so the block outlives the primary, and spoil its checksum as a process that
    // died while writing it would.
    qputenv("TMPDIR", dir->filePath("tmp").toLocal8Bit());
    QSharedMemory block(name);
    QVERIFY2(block.attach(), qPrintable(block.errorString()));
    qunsetenv("TMPDIR");
    QCOMPARE(block.size() >= static_cast<qsizetype>(sizeof(InstancesInfo)), true);
    const qint64 primaryPid = primary->processId();
    ::kill(static_cast<pid_t>(primaryPid), SIGKILL);
    QVERIFY(primary->waitForFinished(5000));
    QVERIFY(block.lock());
    auto* info = static_cast<InstancesInfo*>(block.data());
    QVERIFY(info->primary);
    QCOMPARE(info->primaryPid, primaryPid);
    QCOMPARE(info->checksum, SingleApplicationPrivate::blockChecksum(*info));
    info->checksum = static_cast<quint16>(info->checksum + 1);
    block.unlock();

    QElapsedTimer timer;
    timer.start();
    auto next = start({}, dir->path());
    waitForPrimary(*next);
    QVERIFY2(timer.elapsed() >= 4900, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(block.lock());
    QVERIFY(info->primary);
    QCOMPARE(info->primaryPid, next->processId());
    QCOMPARE(info->checksum, SingleApplicationPrivate::blockChecksum(*info));
    block.unlock();
    terminate(*next);
    QVERIFY(block.lock());
    QVERIFY(!info->primary);
    QCOMPARE(info->primaryPid, qint64(-1));
    block.unlock();
}

// A file large enough for the read-only question holds the start inside its question; a
// termination request then cancels the question and ends the process normally.
void TestSingleInstance::terminationDuringTheStartQuestionEndsCleanly() {
    const QString big = dir->filePath("big.csv");
    {
        QFile file(big);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(qint64(200) << 20)); // sparse: no disk space taken
    }
    auto primary = start({big}, dir->path());
    waitForPrimary(*primary);
    QTest::qWait(300);
    terminate(*primary);
}

// A handed-over file that asks a question keeps the primary in that question long after the
// later launch has gone and its connection is closed; the question's end must not go back into
// the connection.
void TestSingleInstance::questionOverAHandedOverFileOutlivesItsConnection() {
    const QString big = dir->filePath("big.csv");
    {
        QFile file(big);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(qint64(200) << 20)); // sparse: no disk space taken
    }
    auto primary = start({}, dir->path());
    waitForPrimary(*primary);
    auto secondary = start({big}, dir->path());
    QVERIFY(secondary->waitForFinished(5000));
    QCOMPARE(secondary->exitCode(), 0);
    QTest::qWait(500);
    QCOMPARE(primary->state(), QProcess::Running);
    terminate(*primary);
}

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
