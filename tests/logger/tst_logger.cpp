#include <cerrno>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include <unistd.h>

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include "capturedoutput.h"
#include "logger.h"
#include "messagecheck.h"
#include "syslogsocket.h"

namespace {

thread_local int allocations = 0;

// The text of a line behind its time and level.
QByteArray messageOf(QByteArray const& line)
{
    return line.mid(int(strlen("2026-01-01 00:00:00.000 warning ")));
}

} // namespace

namespace {

void* allocate(size_t size)
{
    ++allocations;
    return malloc(size);
}

void* allocateOrThrow(size_t size)
{
    if (void* memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(size_t size)
{
    return allocateOrThrow(size);
}
void* operator new[](size_t size)
{
    return allocateOrThrow(size);
}
void* operator new(size_t size, std::nothrow_t const&) noexcept
{
    return allocate(size);
}
void* operator new[](size_t size, std::nothrow_t const&) noexcept
{
    return allocate(size);
}
void operator delete(void* memory) noexcept
{
    free(memory);
}
void operator delete(void* memory, size_t) noexcept
{
    free(memory);
}
void operator delete[](void* memory) noexcept
{
    free(memory);
}
void operator delete[](void* memory, size_t) noexcept
{
    free(memory);
}

class LoggerTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        logger::close();
        logger::setLevel("info");
    }
    void cleanup()
    {
        logger::close();
        logger::setLevel("info");
    }

    void unopened_errorsAndWarningsGoToStandardError()
    {
        CapturedOutput out(STDOUT_FILENO);
        CapturedOutput err(STDERR_FILENO);
        logger::print(logger::Fatal, "f");
        logger::error("e");
        logger::warning("w");
        logger::print(logger::Notice, "n");
        logger::info("i");
        QList<QByteArray> const lines = err.text().trimmed().split('\n');
        QCOMPARE(lines.size(), 3);
        QCOMPARE(messageOf(lines[0]), QByteArray("f"));
        QCOMPARE(messageOf(lines[1]), QByteArray("e"));
        QCOMPARE(messageOf(lines[2]), QByteArray("w"));
        QCOMPARE(out.text(), QByteArray());
    }

    void line_hasTimeLevelAndText()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::info("%s is %d", "answer", 42);
        QRegularExpression const form(
            QStringLiteral(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} info    answer is 42\n$)"));
        QString const line = QString::fromUtf8(out.text());
        QVERIFY2(form.match(line).hasMatch(), qPrintable(line));
    }

    void level_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("lines");
        char const* const names[] = {
            "fatal", "error", "warning", "notice", "info", "debug", "trace"};
        for (int i = 0; i < 7; ++i) {
            QTest::newRow(names[i]) << QByteArray(names[i]) << i + 1;
            QTest::newRow(QByteArray::number(i)) << QByteArray::number(i) << i + 1;
        }
        QTest::newRow("any case") << QByteArray("WaRnInG") << 3;
    }
    void level()
    {
        QFETCH(QByteArray, name);
        QFETCH(int, lines);
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::setLevel(name);
        for (int level = logger::Fatal; level <= logger::Trace; ++level)
            logger::print(logger::Level(level), "x");
        QCOMPARE(out.text().count('\n'), lines);
    }

    void functions_writeAtTheirLevel()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::setLevel("trace");
        logger::error("x");
        logger::warning("x");
        logger::info("x");
        logger::debug("x");
        logger::trace("x");
        QList<QByteArray> const lines = out.text().trimmed().split('\n');
        QCOMPARE(lines.size(), 5);
        char const* const names[] = {"error", "warning", "info", "debug", "trace"};
        for (int i = 0; i < 5; ++i)
            QVERIFY2(lines[i].contains(names[i]), lines[i]);
    }

    void threshold_isInfoAtFirst()
    {
        // A fresh process, since the other functions here set the threshold.
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--default-level")});
        QVERIFY(child.waitForFinished());
        QByteArray const text = child.readAllStandardOutput();
        QCOMPARE(text.count('\n'), 1);
        QVERIFY2(text.contains("info"), text);
    }

    void unknownLevel_keepsThresholdAndSaysSo_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("quoted");
        QTest::newRow("word") << QByteArray("loud") << QByteArray("loud");
        QTest::newRow("empty") << QByteArray("") << QByteArray("");
        QTest::newRow("too big a number") << QByteArray("7") << QByteArray("7");
        QTest::newRow("negative number") << QByteArray("-1") << QByteArray("-1");
        QTest::newRow("null") << QByteArray() << QByteArray("(null)");
    }
    void unknownLevel_keepsThresholdAndSaysSo()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, quoted);
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::setLevel("debug");
        logger::setLevel(name.isNull() ? nullptr : name.constData());
        logger::debug("still here");
        QList<QByteArray> const lines = out.text().trimmed().split('\n');
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].contains(" warning "), lines[0]);
        QCOMPARE(messageOf(lines[0]), "unknown log level \"" + quoted + "\", keeping \"debug\"");
        QCOMPARE(messageOf(lines[1]), QByteArray("still here"));
    }

    void message_neverBecomesTwoLines_data()
    {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("trailing newline") << QByteArray("a\n") << QByteArray("a");
        QTest::newRow("trailing newlines") << QByteArray("a\r\n\n") << QByteArray("a");
        QTest::newRow("inner newline") << QByteArray("a\nb") << QByteArray("a\\nb");
        QTest::newRow("carriage return") << QByteArray("a\rb") << QByteArray("a\\rb");
        QTest::newRow("tab") << QByteArray("a\tb") << QByteArray("a\\tb");
        QTest::newRow("escape") << QByteArray("\x1b[2J") << QByteArray("\\x1b[2J");
        QTest::newRow("delete") << QByteArray("a\x7f") << QByteArray("a\\x7f");
        QTest::newRow("C1 control") << QByteArray("a\xc2\x9b"
                                                  "b")
                                    << QByteArray("a\\x9bb");
        QTest::newRow("UTF-8") << QByteArray("k\xc3\xa4se") << QByteArray("k\xc3\xa4se");
        QTest::newRow("cut UTF-8") << QByteArray("k\xc2") << QByteArray("k\xc2");
        QTest::newRow("only newlines") << QByteArray("\n\n") << QByteArray("");
        QTest::newRow("empty") << QByteArray("") << QByteArray("");
        QTest::newRow("long") << QByteArray(100000, 'x') << QByteArray(100000, 'x');
        QTest::newRow("long, all escaped")
            << QByteArray(5000, '\x01') << QByteArray("\\x01").repeated(5000);
    }
    void message_neverBecomesTwoLines()
    {
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, written);
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::info("%s", message.constData());
        QByteArray const line = out.text();
        QVERIFY(line.endsWith('\n'));
        QCOMPARE(messageOf(line.chopped(1)), written);
    }

    void outOfRangeLevel_isTakenAsTheNearest()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::print(logger::Level(-5), "low");
        logger::print(logger::Level(99), "high");
        QCOMPARE(out.text().count('\n'), 1);
        QVERIFY(out.text().contains("fatal   low"));
    }

    void belowThreshold_nothingIsFormatted()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        int written = 0;
        logger::debug("abc%n", &written);
        QCOMPARE(written, 0);
    }

    void shortLine_allocatesNothing()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::info("warm up");
        int const before = allocations;
        logger::info("a line of %d characters or so, as most of them are: %s", 100, "short");
        int const after = allocations;
        QCOMPARE(after, before);
        QCOMPARE(out.text().count('\n'), 2);
    }

    void errnoIsKept()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        errno = ENOTTY;
        logger::info("%s", "x");
        QCOMPARE(errno, ENOTTY);
    }

    void threads_neverMixTheirLines()
    {
        constexpr int threadCount = 8;
        constexpr int linesEach = 500;
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([i] {
                QByteArray const body(50 + 100 * i, char('a' + i));
                for (int line = 0; line < linesEach; ++line)
                    logger::info("[%s]", body.constData());
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QList<QByteArray> lines = out.text().split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        QCOMPARE(lines.size(), threadCount * linesEach);
        for (QByteArray const& line : std::as_const(lines)) {
            QByteArray const body = messageOf(line);
            char const letter = body.at(1);
            QCOMPARE(body, '[' + QByteArray(50 + 100 * (letter - 'a'), letter) + ']');
        }
    }

    void close_endsBothDestinations()
    {
        CapturedOutput out(STDOUT_FILENO);
        CapturedOutput err(STDERR_FILENO);
        logger::openStdout();
        logger::openSyslog("tst_logger", true);
        logger::close();
        logger::info("unseen");
        logger::warning("seen");
        QCOMPARE(out.text(), QByteArray());
        QCOMPARE(messageOf(err.text()), QByteArray("seen\n"));
    }

    void call_tracesEntryAndExit()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::setLevel("trace");
        {
            logger::Call call("start %d", 7);
            logger::info("inside");
        }
        QList<QByteArray> const lines = out.text().trimmed().split('\n');
        QCOMPARE(lines.size(), 3);
        QCOMPARE(messageOf(lines[0]), QByteArray("> start 7"));
        QVERIFY(lines[0].contains(" trace "));
        QCOMPARE(messageOf(lines[1]), QByteArray("inside"));
        QRegularExpression const form(QStringLiteral(R"(^< start 7 \(\d+\.\d{3} ms\)$)"));
        QVERIFY2(form.match(QString::fromUtf8(messageOf(lines[2]))).hasMatch(), lines[2]);
    }

    void call_leftByException_tracesExit()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::setLevel("trace");
        try {
            logger::Call call("stop");
            throw 1;
        } catch (int) {
        }
        QVERIFY(out.text().contains("< stop ("));
    }

    void call_withoutTrace_writesNothing()
    {
        CapturedOutput out(STDOUT_FILENO);
        logger::openStdout();
        logger::setLevel("debug");
        {
            logger::Call call("start");
        }
        QCOMPARE(out.text(), QByteArray());
    }

    void syslog_getsIdentityPidAndPriority()
    {
        SyslogSocket socket;
        if (!socket.problem().isEmpty())
            QSKIP(qPrintable(socket.problem()));
        logger::setLevel("trace");
        logger::openSyslog("my-identity", true);
        constexpr int facilityUser = 1 << 3;
        constexpr int priorities[] = {2, 3, 4, 5, 6, 7, 7};
        for (int level = logger::Fatal; level <= logger::Trace; ++level) {
            logger::print(logger::Level(level), "a\nb %d\n", level);
            QByteArray const line = socket.readLine();
            QByteArray const start =
                '<' + QByteArray::number(facilityUser | priorities[level]) + '>';
            QVERIFY2(line.startsWith(start), line);
            QByteArray const end = "my-identity[" + QByteArray::number(getpid()) + "]: a\\nb " +
                                   QByteArray::number(level);
            QVERIFY2(line.endsWith(end), line);
        }
    }

    void syslog_withoutPid()
    {
        SyslogSocket socket;
        if (!socket.problem().isEmpty())
            QSKIP(qPrintable(socket.problem()));
        logger::openSyslog("plain", false);
        logger::info("text");
        QByteArray const line = socket.readLine();
        QVERIFY2(line.endsWith("plain: text"), line);
    }

    void syslogAndStandardOutput_bothGetTheLine()
    {
        SyslogSocket socket;
        if (!socket.problem().isEmpty())
            QSKIP(qPrintable(socket.problem()));
        CapturedOutput out(STDOUT_FILENO);
        CapturedOutput err(STDERR_FILENO);
        logger::openSyslog("both", true);
        logger::openStdout();
        logger::error("twice");
        QVERIFY(socket.readLine().endsWith("twice"));
        QCOMPARE(messageOf(out.text()), QByteArray("twice\n"));
        QCOMPARE(err.text(), QByteArray());
    }
};

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (app.arguments().contains(QStringLiteral("--default-level"))) {
        logger::openStdout();
        logger::info("x");
        logger::debug("x");
        return 0;
    }
    LoggerTest test;
    return runCheckingMessages(&test, argc, argv);
}

#include "tst_logger.moc"
