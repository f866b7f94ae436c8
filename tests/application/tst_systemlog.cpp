#include <optional>
#include <thread>
#include <vector>

#include <syslog.h>
#include <unistd.h>

#include "capturedoutput.h"
#include "dyingwords.h"
#include "logger.h"
#include "messagecheck.h"
#include "syslogsocket.h"
#include "testapplication.h"

namespace {

constexpr char Identity[] = "camera-ui";

// The beginning and end of what the system log gets, with the time of the C library between them.
QByteArray priorityOf(int severity)
{
    return '<' + QByteArray::number(LOG_USER | severity) + '>';
}

QByteArray endOf(QByteArray const& text)
{
    return QByteArray(" ") + Identity + '[' + QByteArray::number(getpid()) + "]: " + text;
}

bool isLine(QByteArray const& line, int severity, QByteArray const& text)
{
    return line.startsWith(priorityOf(severity)) && line.endsWith(endOf(text));
}

} // namespace

class SystemLogTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mSocket.emplace();
        if (!mSocket->problem().isEmpty())
            QSKIP(qPrintable(mSocket->problem()));
    }
    void cleanup()
    {
        logger::close();
        mSocket.reset();
    }

    void eachType_hasItsSeverity()
    {
        MessageHandlerKeeper const keeper;
        QVorlinApplication::openLog(Identity, "debug", false);
        qDebug("d");
        qInfo("i");
        qWarning("w");
        qCritical("c\n");
        constexpr std::pair<int, char const*> expected[] = {
            {LOG_DEBUG, "d"}, {LOG_INFO, "i"}, {LOG_WARNING, "w"}, {LOG_ERR, "c"}};
        for (auto const& [severity, text] : expected) {
            QByteArray const line = mSocket->readLine();
            QVERIFY2(isLine(line, severity, text), line);
        }
    }

    void fatalMessage_isLoggedBeforeTheProcessAborts()
    {
        QByteArray const words = dyingWords([] {
            QVorlinApplication::openLog(Identity, "info", false);
            qFatal("the %s", "end");
        });
        QByteArray const line = mSocket->readLine();
        QVERIFY2(line.startsWith(priorityOf(LOG_ERR)) && line.endsWith("]: the end"), line);
        QCOMPARE(words, QByteArray());
    }

    void threshold_isTheLevelGiven()
    {
        MessageHandlerKeeper const keeper;
        QVorlinApplication::openLog(Identity, "warning", false);
        qDebug("no");
        qInfo("no");
        qWarning("yes");
        QByteArray const line = mSocket->readLine();
        QVERIFY2(isLine(line, LOG_WARNING, "yes"), line);
    }

    void linesOfTheLibraryItself_getThere()
    {
        MessageHandlerKeeper const keeper;
        QVorlinApplication::openLog(Identity, "info", false);
        logger::info("screenshot: saved %s\n", "x");
        QByteArray const line = mSocket->readLine();
        QVERIFY2(isLine(line, LOG_INFO, "screenshot: saved x"), line);
    }

    void secondName_isNotTaken()
    {
        MessageHandlerKeeper const keeper;
        QVorlinApplication::openLog(Identity, "info", false);
        qInfo("one");
        QVorlinApplication::openLog("second", "info", false);
        qInfo("two");
        for (char const* text : {"one", "two"}) {
            QByteArray const line = mSocket->readLine();
            QVERIFY2(isLine(line, LOG_INFO, text), line);
        }
    }

    void commandLine_opensSystemLogAndStandardOutput()
    {
        CapturedOutput out(STDOUT_FILENO);
        MessageHandlerKeeper const keeper;
        char arguments[][10] = {"camera-ui", "-v", "debug", "--vstd"};
        char* argv[] = {arguments[0], arguments[1], arguments[2], arguments[3], nullptr};
        int argc = 4;
        QVorlinApplication app(argc, argv);
        QVorlinApplication::openLog();
        qDebug("twice");
        QByteArray const line = mSocket->readLine();
        QVERIFY2(isLine(line, LOG_DEBUG, "twice"), line);
        QVERIFY2(out.text().endsWith(" debug   twice\n"), out.text());
    }

    void endOfTheApplication_closesTheLog()
    {
        CapturedOutput err(STDERR_FILENO);
        {
            TestApplication const app;
            QVorlinApplication::openLog(Identity, "info", false);
        }
        logger::warning("too late");
        QVERIFY2(err.text().endsWith(" warning too late\n"), err.text());
        QVERIFY(mSocket->readLine(0).isEmpty());
    }

    void threads_eachLineArrivesWhole()
    {
        constexpr int ThreadCount = 4;
        constexpr int LinesEach = 50;
        MessageHandlerKeeper const keeper;
        QVorlinApplication::openLog(Identity, "info", false);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < ThreadCount; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < LinesEach; ++i)
                    qWarning("thread %d line %d", thread, i);
            });
        }
        QSet<QByteArray> missing;
        for (int thread = 0; thread < ThreadCount; ++thread) {
            for (int i = 0; i < LinesEach; ++i)
                missing << endOf(QStringLiteral("thread %1 line %2").arg(thread).arg(i).toLatin1());
        }
        QByteArray stray;
        while (!missing.isEmpty() && stray.isEmpty()) {
            QByteArray const line = mSocket->readLine(20000);
            if (!missing.remove(line.mid(line.indexOf(QByteArray(" ") + Identity))))
                stray = line.isEmpty() ? QByteArray("nothing came") : line;
        }
        // The log blocks when nobody reads, so the rest has to be read before they can end.
        while (!stray.isEmpty() && !mSocket->readLine(1000).isEmpty()) {
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(stray, QByteArray());
        QVERIFY(missing.isEmpty());
    }

private:
    std::optional<SyslogSocket> mSocket;
};

QVORLIN_APPLICATION_TEST_MAIN(SystemLogTest)

#include "tst_systemlog.moc"
