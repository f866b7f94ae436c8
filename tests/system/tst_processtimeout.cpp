#include <csignal>

#include <cerrno>
#include <functional>
#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QProcess>
#include <QTest>
#include <QThread>

#include "messagecheck.h"
#include "programfolder.h"
#include "system/externalprocess.h"
#include "system/restapi.h"
#include "textliteral.h"

/**
 * What happens to programs that don't end. It takes the 30 s that the library waits for them, once:
 * all of the calls are made at the same time.
 */
class ProcessTimeoutTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        mPrograms.addScript("sleeper"_s, "echo $$ >\"$here/sleeper.pid\"; echo a; exec sleep 600");
        mPrograms.addScript(
            "reader"_s, "echo $$ >\"$here/reader.pid\"; read -r line; echo \"read '$line'\"");
        mPrograms.addScript(
            "rest_api"_s, "echo $$ >\"$here/rest_api.pid\"; printf '[1]'; exec sleep 600");
        // As the calls return; that of the REST client names its own program.
        for (char const* program : {"sleeper", "reader", "rest_api"}) {
            expectMessage(
                QtWarningMsg, "QProcess: Destroyed while process (\"%1\") is still running."_s.arg(
                                  QLatin1String(program)));
        }
        runAll({
            [this] { mSleeper.code = execExternalProcess("sleeper"_s, {}, mSleeper.output); },
            [this] { mReader.code = execExternalProcess("reader"_s, {}, mReader.output); },
            [this] { mAnswer = restAPI::get("/a"_s, {}); },
        });
    }

    void everyCall_returnsAfterThirtySeconds()
    {
        QCOMPARE(mElapsed.size(), size_t(3));
        for (qint64 elapsed : mElapsed) {
            QVERIFY2(elapsed >= 30000, qPrintable(QString::number(elapsed)));
            QVERIFY2(elapsed < 55000, qPrintable(QString::number(elapsed)));
        }
    }

    void runningProgram_givesCode0AndItsOutputSoFar()
    {
        QCOMPARE(mSleeper.code, 0);
        QCOMPARE(mSleeper.output, (QStringList{"a"_s, ""_s}));
    }

    void programThatReadsStandardInput_getsNothing()
    {
        QCOMPARE(mReader.code, 0);
        QCOMPARE(mReader.output, QStringList{""_s});
    }

    void restRequest_answersWithTheOutputSoFar() { QCOMPARE(mAnswer, QVariant(QJsonArray{1})); }

    void programs_areGone_data()
    {
        QTest::addColumn<QString>("program");
        for (char const* program : {"sleeper", "reader", "rest_api"})
            QTest::newRow(program) << QString::fromLatin1(program);
    }

    void programs_areGone()
    {
        QFETCH(QString, program);
        pid_t const process = mPrograms.file(program + ".pid"_s).trimmed().toInt();
        QVERIFY(process > 0);
        errno = 0;
        QCOMPARE(kill(process, 0), -1);
        QCOMPARE(errno, ESRCH);
    }

private:
    struct Result
    {
        int code = -1;
        QStringList output;
    };

    void runAll(std::vector<std::function<void()>> const& functions)
    {
        mElapsed.resize(functions.size());
        std::vector<std::unique_ptr<QThread>> threads;
        for (size_t i = 0; i < functions.size(); ++i) {
            threads.emplace_back(QThread::create([&function = functions[i], &ms = mElapsed[i]] {
                QElapsedTimer timer;
                timer.start();
                function();
                ms = timer.elapsed();
            }));
            threads.back()->start();
        }
        for (auto const& thread : threads)
            thread->wait();
    }

    ProgramFolder mPrograms;
    std::vector<qint64> mElapsed;
    Result mSleeper;
    Result mReader;
    QVariant mAnswer;
};

QVORLIN_TEST_MAIN(QCoreApplication, ProcessTimeoutTest)

#include "tst_processtimeout.moc"
