#include "publishprocess.h"
#include "streamcapture.h"

#include <messagecheck.h>

#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

class ShmPublishTest : public QObject
{
    Q_OBJECT

private slots:
    void duration_givesThatManyFrames();
    void framesOption_keepsThatManyVisible();
    void mode_isTheStreams();
    void unknownGroup_isRefused();
    void nameTaken_isRefused();
    void signal_endsItCleanly_data();
    void signal_endsItCleanly();
    void withoutTerminal_itIsQuiet();
    void onATerminal_itShowsProgress();
    void statistics_areLinesOfJson();
    void help_isShown();
    void version_isShown();
    void wrongOption_isAnUsageError();
};

void ShmPublishTest::duration_givesThatManyFrames()
{
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --rate 50 --duration 0.5 --stats"), name));
    QCOMPARE(program.wait(), 0);
    QJsonObject const statistics = program.statistics();
    int const frames = statistics[QLatin1String("video_frames")].toInt() +
                       statistics[QLatin1String("video_late")].toInt();
    QCOMPARE(frames, 25);
    int const samples = statistics[QLatin1String("audio_frames")].toInt();
    QVERIFY2(samples >= 23000 && samples <= 24480, qPrintable(QString::number(samples)));
}

void ShmPublishTest::framesOption_keepsThatManyVisible()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--size 64x64 --rate 60 --frames 3"), name));
    StreamCapture stream(name);
    QCOMPARE(stream.format().video_frame_count, 3);
    QVERIFY(stream.pollFrames(5));
    shm_video_status_t status = {};
    QCOMPARE(shm_reader_get_video_status(stream.reader(), &status), 0);
    QCOMPARE(status.frame_count, 3U);
}

void ShmPublishTest::mode_isTheStreams()
{
    if (geteuid() != 0)
        QSKIP("only root can become a user who may not read");
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--size 64x64 --mode 0600"), name));
    StreamCapture const stream(name);
    QVERIFY(stream.isOpen());
    pid_t const child = fork();
    if (child == 0) {
        constexpr uid_t Nobody = 65534;
        bool const refused = setgid(Nobody) == 0 && setuid(Nobody) == 0 &&
                             !shm_reader_open(name.toUtf8().constData()) && errno == EACCES;
        _exit(refused ? 0 : 1);
    }
    int status = -1;
    QCOMPARE(waitpid(child, &status, 0), child);
    QCOMPARE(status, 0);
}

void ShmPublishTest::unknownGroup_isRefused()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--group no-such-group"), name));
    QCOMPARE(program.wait(), 1);
    QVERIFY(isOneLine(program.errors(), QStringLiteral("no-such-group")));
}

void ShmPublishTest::nameTaken_isRefused()
{
    QString const name = uniqueName();
    PublishProcess first(arguments(QStringLiteral("--size 64x64"), name));
    StreamCapture stream(name);
    QVERIFY(stream.isOpen());
    PublishProcess second(arguments(QStringLiteral("--size 64x64"), name));
    QCOMPARE(second.wait(), 1);
    QVERIFY(isOneLine(second.errors(), name));
    size_t const before = stream.frames.size();
    QVERIFY(stream.pollFrames(before + 5));
}

void ShmPublishTest::signal_endsItCleanly_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void ShmPublishTest::signal_endsItCleanly()
{
    QFETCH(int, signal);
    QString const name = uniqueName();
    // A frame every ten seconds: the signal has to end a wait.
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --rate 0.1 --no-audio --stats"), name));
    StreamCapture const stream(name);
    QVERIFY(stream.isReady());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(program.stop(signal), 0);
    QVERIFY(timer.elapsed() < 3000);
    QVERIFY(!stream.isReady());
    QCOMPARE(program.errors(), QString());
    QVERIFY(program.statistics()[QLatin1String("last")].toBool());
}

void ShmPublishTest::withoutTerminal_itIsQuiet()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--size 64x64 --duration 1.3"), name));
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.errors(), QString());
    QCOMPARE(program.output(), QByteArray());
}

void ShmPublishTest::onATerminal_itShowsProgress()
{
    QByteArray const name = uniqueName().toUtf8();
    QByteArray const path =
        QFile::encodeName(QCoreApplication::applicationDirPath() + QStringLiteral("/shm-publish"));
    int terminal = -1;
    pid_t const child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        execl(path.constData(), path.constData(), "--size", "64x64", "--duration", "1.3", "--name",
            name.constData(), nullptr);
        _exit(127);
    }
    QVERIFY(child > 0);
    QByteArray shown;
    char buffer[256];
    for (ssize_t size = 1; size > 0;) {
        size = read(terminal, buffer, sizeof buffer);
        shown.append(buffer, int(std::max<ssize_t>(size, 0)));
    }
    int status = -1;
    QCOMPARE(waitpid(child, &status, 0), child);
    close(terminal);
    QCOMPARE(status, 0);
    QRegularExpression const line(
        QStringLiteral("^(\r%1: \\d+ frames, \\d+\\.\\d fps, \\d+ dropped, \\d+ readers *)+\r?\n$")
            .arg(QString::fromUtf8(name)));
    QVERIFY2(line.match(QString::fromUtf8(shown)).hasMatch(), shown.constData());
    QVERIFY2(shown.count('\r') >= 1, shown.constData());
}

void ShmPublishTest::statistics_areLinesOfJson()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--size 64x64 --duration 1.3 --stats"), name));
    StreamCapture const reader(name);
    QCOMPARE(program.wait(), 0);
    QList<QByteArray> const lines = program.output().trimmed().split('\n');
    QVERIFY(lines.size() >= 2);
    for (int i = 0; i < lines.size(); ++i) {
        QJsonObject const line = QJsonDocument::fromJson(lines[i]).object();
        for (char const* const key : {"seconds", "cpu_seconds", "video_frames", "video_dropped",
                 "video_late", "video_direct", "video_converted", "audio_frames", "audio_breaks",
                 "stalls", "undecodable", "readers", "pinned_slots", "slots"})
            QVERIFY2(line[QLatin1String(key)].isDouble(), key);
        QCOMPARE(line[QLatin1String("last")].toBool(), i == lines.size() - 1);
        QCOMPARE(line[QLatin1String("readers")].toInt(), 1);
    }
}

void ShmPublishTest::help_isShown()
{
    PublishProcess program({QStringLiteral("--help")});
    QCOMPARE(program.wait(), 0);
    QVERIFY(program.output().startsWith("Usage: shm-publish [OPTION]... [INPUT]\n"));
}

void ShmPublishTest::version_isShown()
{
    PublishProcess program({QStringLiteral("--version")});
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.output(), QByteArray("shm-publish " PROGRAM_VERSION "\n"));
}

void ShmPublishTest::wrongOption_isAnUsageError()
{
    PublishProcess program({QStringLiteral("--nonsense")});
    QCOMPARE(program.wait(), 2);
    QVERIFY(isOneLine(program.errors(), QStringLiteral("'--nonsense'; see shm-publish --help")));
}

QVORLIN_TEST_MAIN(QCoreApplication, ShmPublishTest)

#include "tst_shm_publish.moc"
