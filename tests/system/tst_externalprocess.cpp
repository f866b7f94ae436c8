#include "system/externalprocess.h"

#include <csignal>

#include <thread>
#include <vector>

#include <QTest>

#include "messagecheck.h"
#include "programfolder.h"
#include "textliteral.h"

namespace {

constexpr int mebibyte = 1 << 20;

QString const program = "qvorlin-program"_s;

/** A list that the output has to replace. */
QStringList formerOutput()
{
    return {"former"_s, "output"_s};
}

} // namespace

class ExternalProcessTest : public QObject
{
    Q_OBJECT

private slots:
    void output_isSplitAtNewlines_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("two lines") << QByteArray("a\nb b\n") << QStringList{"a"_s, "b b"_s, ""_s};
        QTest::newRow("no newline at the end") << QByteArray("a\nb") << QStringList{"a"_s, "b"_s};
        QTest::newRow("nothing") << QByteArray() << QStringList{""_s};
        QTest::newRow("empty lines")
            << QByteArray("\n\na\n\n") << QStringList{""_s, ""_s, "a"_s, ""_s, ""_s};
        QTest::newRow("carriage returns")
            << QByteArray("a\r\nb\r") << QStringList{"a\r"_s, "b\r"_s};
        QTest::newRow("NUL") << QByteArray("a\nb\0c\nd\n", 8) << QStringList{"a"_s, "b"_s};
        QTest::newRow("NUL first") << QByteArray("\0a\n", 3) << QStringList{""_s};
        QTest::newRow("Latin-1") << QByteArray("\xE4\n\xFF\x80")
                                 << QStringList{"\u00E4"_s, "\u00FF\u0080"_s};
        QTest::newRow("UTF-8") << QByteArray("\xC3\xA4") << QStringList{"\u00C3\u00A4"_s};
    }

    void output_isSplitAtNewlines()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, lines);
        mPrograms.addFile("bytes"_s, bytes);
        mPrograms.addScript(program, "cat \"$here/bytes\"");

        QStringList output = formerOutput();
        QCOMPARE(execExternalProcess(program, {}, output), 0);
        QCOMPARE(output, lines);
        QCOMPARE(execExternalProcess(program, {}), lines);
    }

    void standardErrorOnly_givesOneEmptyLine()
    {
        mPrograms.addScript(program, "echo message >&2");
        QCOMPARE(execExternalProcess(program, {}), QStringList{""_s});
    }

    void standardError_isNotAmongTheOutput()
    {
        mPrograms.addScript(program, "echo a; echo message >&2; echo b");
        QCOMPARE(execExternalProcess(program, {}), (QStringList{"a"_s, "b"_s, ""_s}));
    }

    void exitCode_isTheProgramsOwn_data()
    {
        QTest::addColumn<QByteArray>("commands");
        QTest::addColumn<int>("code");
        QTest::newRow("0") << QByteArray("echo out; exit 0") << 0;
        QTest::newRow("1") << QByteArray("echo out; exit 1") << 1;
        QTest::newRow("255") << QByteArray("echo out; exit 255") << 255;
        QTest::newRow("SIGTERM") << QByteArray("echo out; kill -TERM $$") << SIGTERM;
        QTest::newRow("SIGKILL") << QByteArray("echo out; kill -KILL $$") << SIGKILL;
    }

    void exitCode_isTheProgramsOwn()
    {
        QFETCH(QByteArray, commands);
        QFETCH(int, code);
        mPrograms.addScript(program, commands);
        QStringList output = formerOutput();
        QCOMPARE(execExternalProcess(program, {}, output), code);
        QCOMPARE(output, (QStringList{"out"_s, ""_s}));
    }

    void programThatCannotBeStarted_gives255AndOneEmptyLine_data()
    {
        mPrograms.addFile("not-executable"_s, "#!/bin/sh\necho out\n");
        QTest::addColumn<QString>("name");
        QTest::newRow("not on the PATH") << "qvorlin-no-such-program"_s;
        QTest::newRow("no such file") << mPrograms.path("no-such-program"_s);
        QTest::newRow("not executable") << "not-executable"_s;
        QTest::newRow("file not executable") << mPrograms.path("not-executable"_s);
        QTest::newRow("a folder") << mPrograms.path(QString());
    }

    void programThatCannotBeStarted_gives255AndOneEmptyLine()
    {
        QFETCH(QString, name);
        QStringList output = formerOutput();
        QCOMPARE(execExternalProcess(name, {}, output), 255);
        QCOMPARE(output, QStringList{""_s});
    }

    void programWithoutName_gives0AndOneEmptyLine()
    {
        expectMessage(QtWarningMsg, "QIODevice::read (QProcess): device not open"_s);
        QStringList output = formerOutput();
        QCOMPARE(execExternalProcess(QString(), {}, output), 0);
        QCOMPARE(output, QStringList{""_s});
    }

    void pathOfProgram_isTakenAsItIs()
    {
        mPrograms.addScript("my program"_s, "echo \"$@\"");
        QCOMPARE(execExternalProcess(mPrograms.path("my program"_s), {"a"_s}),
            (QStringList{"a"_s, ""_s}));
    }

    void arguments_arriveUnchanged()
    {
        QStringList const arguments{"plain"_s, QString(), ""_s, " two  words "_s,
            "\"double\" 'single' `back`"_s, "new\nline\r\n\t"_s, "größe \u65E5\u672C \U0001F3A5"_s,
            "-d"_s, "--"_s, "--option=value"_s, "%1 %s %%"_s, "$HOME ${HOME} $(id) ~ *"_s,
            "back\\slash \\n \\"_s, "; | & < > # !"_s, QString(100000, QLatin1Char('x'))};
        mPrograms.addScript(program, "note \"$@\"");
        execExternalProcess(program, arguments);
        QCOMPARE(mPrograms.takeCalls(), (QVector<QStringList>{QStringList{program} + arguments}));
    }

    void noArguments_areNone()
    {
        mPrograms.addScript(program, "note \"$@\"");
        execExternalProcess(program, {});
        QCOMPARE(mPrograms.takeCalls(), (QVector<QStringList>{{program}}));
    }

    void oneListForArgumentsAndOutput_isReplaced()
    {
        mPrograms.addScript(program, "echo \"$#\"");
        QStringList list = formerOutput();
        QCOMPARE(execExternalProcess(program, list, list), 0);
        QCOMPARE(list, (QStringList{"2"_s, ""_s}));
    }

    void mebibyteOfOutput_isComplete()
    {
        mPrograms.addFile("bytes"_s, QByteArray(mebibyte, 'x') + '\n');
        mPrograms.addScript(program, "cat \"$here/bytes\"");
        QCOMPARE(execExternalProcess(program, {}),
            (QStringList{QString(mebibyte, QLatin1Char('x')), ""_s}));
    }

    void mebibyteOfErrors_doesNotBlock()
    {
        mPrograms.addFile("bytes"_s, QByteArray(mebibyte, 'x'));
        mPrograms.addScript(program, "cat \"$here/bytes\" >&2; echo done");
        QStringList output;
        QCOMPARE(execExternalProcess(program, {}, output), 0);
        QCOMPARE(output, (QStringList{"done"_s, ""_s}));
    }

    void standardInput_isAnOpenPipe()
    {
        mPrograms.addScript(program, "[ -p /dev/stdin ] && echo pipe");
        QCOMPARE(execExternalProcess(program, {}), (QStringList{"pipe"_s, ""_s}));
    }

    void programInTheBackground_isNotWaitedFor()
    {
        // It holds the output open as well.
        mPrograms.addScript(program, "sleep 600 & echo $!");
        QElapsedTimer timer;
        timer.start();
        QStringList const output = execExternalProcess(program, {});
        qint64 const elapsed = timer.elapsed();
        QCOMPARE(output.size(), 2);
        pid_t const background = output.first().toInt();
        QVERIFY(background > 0);
        QCOMPARE(kill(background, SIGKILL), 0);
        QVERIFY2(elapsed < 25000, qPrintable(QString::number(elapsed)));
    }

    void callsFromSeveralThreads_eachGetTheirOwn()
    {
        // These threads have neither an event loop nor anything else of Qt's.
        mPrograms.addScript(program, "echo \"$1\"; exit \"$1\"");
        constexpr int threadCount = 4;
        constexpr int rounds = 10;
        std::vector<int> good(threadCount, 0);
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([i, &count = good[size_t(i)]] {
                QString const number = QString::number(i);
                for (int round = 0; round < rounds; ++round) {
                    QStringList output;
                    int const code = execExternalProcess(program, {number}, output);
                    if (code == i && output == QStringList{number, QString()})
                        ++count;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(good, std::vector<int>(threadCount, rounds));
    }

private:
    ProgramFolder mPrograms;
};

int main(int argc, char* argv[])
{
    // Arguments are passed in the encoding of the locale, which the application object sets.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication app(argc, argv);
    ExternalProcessTest test;
    return runCheckingMessages(&test, argc, argv);
}

#include "tst_externalprocess.moc"
