#include <thread>
#include <vector>

#include <QLoggingCategory>
#include <QTextCodec>

#include "application/qvorlinapplication.h"
#include "fakelogger.h"
#include "messagecheck.h"
#include "messagehandlerkeeper.h"

namespace {

// The handler that openLog() installs.
QtMessageHandler logHandler()
{
    MessageHandlerKeeper const keeper;
    QVorlinApplication::openLog(nullptr, "info", false);
    return qInstallMessageHandler(nullptr);
}

class LocaleCodec
{
public:
    explicit LocaleCodec(char const* name)
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
    }
    ~LocaleCodec() { QTextCodec::setCodecForLocale(nullptr); }
    Q_DISABLE_COPY(LocaleCodec)
};

} // namespace

class MessagesTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVorlinApplication::openLog(nullptr, "info", false);
        fakelogger::takeCalls();
    }
    void cleanup() { qInstallMessageHandler(mHandler); }
    void initTestCase()
    {
        mHandler = qInstallMessageHandler(nullptr);
        qInstallMessageHandler(mHandler);
    }

    void eachFunction_writesAtItsLevel()
    {
        qDebug("d %d", 1);
        qInfo("i %d", 2);
        qWarning("w %d", 3);
        qCritical("c %d", 4);
        QStringList const expected{QStringLiteral("print 5: d 1"), QStringLiteral("print 4: i 2"),
            QStringLiteral("print 2: w 3"), QStringLiteral("print 1: c 4")};
        QCOMPARE(fakelogger::takeCalls(), expected);
    }

    void eachType_hasItsLevel_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("line");
        QTest::newRow("debug") << int(QtDebugMsg) << QStringLiteral("print 5: text");
        QTest::newRow("info") << int(QtInfoMsg) << QStringLiteral("print 4: text");
        QTest::newRow("warning") << int(QtWarningMsg) << QStringLiteral("print 2: text");
        QTest::newRow("critical") << int(QtCriticalMsg) << QStringLiteral("print 1: text");
        QTest::newRow("fatal") << int(QtFatalMsg) << QStringLiteral("print 1: text");
        QTest::newRow("above the last") << 5 << QString();
        QTest::newRow("negative") << -1 << QString();
    }
    void eachType_hasItsLevel()
    {
        QFETCH(int, type);
        QFETCH(QString, line);
        QtMessageHandler const handler = logHandler();
        fakelogger::takeCalls();
        handler(QtMsgType(type), QMessageLogContext(), QStringLiteral("text"));
        QCOMPARE(fakelogger::takeCalls().join(QLatin1Char('|')), line);
    }

    void context_isIgnored()
    {
        QtMessageHandler const handler = logHandler();
        fakelogger::takeCalls();
        QMessageLogContext const context("file.cpp", 42, "function()", "category");
        handler(QtWarningMsg, context, QStringLiteral("text"));
        QCOMPARE(fakelogger::takeCalls(), QStringList{QStringLiteral("print 2: text")});
    }

    void patternAndCategory_addNothing()
    {
        QLoggingCategory const category("some.category");
        qSetMessagePattern(QStringLiteral("[%{category}] %{type} %{message}"));
        qCWarning(category, "text");
        qSetMessagePattern(QStringLiteral("%{if-category}%{category}: %{endif}%{message}"));
        QCOMPARE(fakelogger::takeCalls(), QStringList{QStringLiteral("print 2: text")});
    }

    void text_isPassedAsItIs_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("looks like a format") << QStringLiteral("100 %s %n %");
        QTest::newRow("trailing newline") << QStringLiteral("line\n");
        QTest::newRow("two lines") << QStringLiteral("one\ntwo");
        QTest::newRow("long") << QString(100000, QLatin1Char('x'));
    }
    void text_isPassedAsItIs()
    {
        QFETCH(QString, text);
        qInfo().noquote().nospace() << text;
        QCOMPARE(fakelogger::takeCalls(), QStringList{QStringLiteral("print 4: ") + text});
    }

    void text_isInTheEncodingOfTheLocale()
    {
        QString const text = QStringLiteral("5 \u20ac");
        {
            LocaleCodec const codec("UTF-8");
            qWarning().noquote() << text;
        }
        {
            LocaleCodec const codec("ISO-8859-1");
            qWarning().noquote() << text;
        }
        QStringList const expected{
            QStringLiteral("print 2: 5 \u20ac"), QStringLiteral("print 2: 5 ?")};
        QCOMPARE(fakelogger::takeCalls(), expected);
    }

    void threads_allReachTheLog()
    {
        constexpr int ThreadCount = 8;
        constexpr int MessagesEach = 200;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < ThreadCount; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < MessagesEach; ++i) {
                    qDebug("%d %d", thread, i);
                    qInfo("%d %d", thread, i);
                    qWarning("%d %d", thread, i);
                    qCritical("%d %d", thread, i);
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();

        QStringList expected;
        for (int thread = 0; thread < ThreadCount; ++thread) {
            for (int i = 0; i < MessagesEach; ++i) {
                for (int level : {5, 4, 2, 1})
                    expected << QStringLiteral("print %1: %2 %3").arg(level).arg(thread).arg(i);
            }
        }
        QStringList calls = fakelogger::takeCalls();
        calls.sort();
        expected.sort();
        QCOMPARE(calls, expected);
    }

private:
    QtMessageHandler mHandler = nullptr;
};

QVORLIN_TEST_MAIN(QCoreApplication, MessagesTest)

#include "tst_messages.moc"
