#include <typeinfo>

#include <QMetaMethod>
#include <QSocketNotifier>
#include <QTimer>

#include "application/appeventfilter.h"
#include "fakelogger.h"
#include "messagecheck.h"
#include "objectlayout.h"
#include "systemcalls.h"
#include "testapplication.h"

namespace {

QStringList ownMethods(QMetaObject const& meta)
{
    QStringList result;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QMetaMethod const method = meta.method(i);
        QString const kind = method.methodType() == QMetaMethod::Signal ? QStringLiteral("signal ")
                             : method.access() == QMetaMethod::Private  ? QStringLiteral("private ")
                                                                        : QStringLiteral("public ");
        result << kind + QString::fromLatin1(method.methodSignature());
    }
    return result;
}

// Holds back what the test wants.
class Receiver : public QObject
{
public:
    int received = 0;

    bool event(QEvent* /*event*/) override
    {
        ++received;
        return true;
    }
};

// The number of the event that ends inactivity, seen as it is sent.
int breakEventType(QVorlinApplication& app)
{
    struct Observer : QObject
    {
        int type = -1;
        bool eventFilter(QObject* /*watched*/, QEvent* event) override
        {
            type = event->type();
            return false;
        }
    } observer;
    app.installEventFilter(&observer);
    app.sendBreakInactivityEvent();
    return observer.type;
}

} // namespace

class QVorlinApplicationTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        systemcalls::start();
        fakelogger::takeCalls();
    }

    void application_hasItsSignalsAndSlotsAlone()
    {
        QMetaObject const& meta = QVorlinApplication::staticMetaObject;
        QStringList const expected{QStringLiteral("signal signalTERM()"),
            QStringLiteral("signal signalHUP()"), QStringLiteral("signal signalINT()"),
            QStringLiteral("signal signalUSR1()"), QStringLiteral("signal signalUSR2()"),
            QStringLiteral("signal inactivityTimeout()"), QStringLiteral("signal active()"),
            QStringLiteral("private handleSignal()"),
            QStringLiteral("private onInactivityTimeout()")};
        QCOMPARE(ownMethods(meta), expected);
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
        QCOMPARE(meta.superClass(), &QApplication::staticMetaObject);
    }

    void eventFilter_hasNoMethodsOfItsOwn()
    {
        QMetaObject const& meta = AppEventFilter::staticMetaObject;
        QCOMPARE(ownMethods(meta), QStringList());
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    }

    void typeInformation_isExported()
    {
        TestApplication app;
        QCoreApplication* const base = &app;
        QVERIFY(dynamic_cast<QVorlinApplication*>(base));
        QObject* const filter = app.findChild<AppEventFilter*>();
        QVERIFY(filter);
        QVERIFY(typeid(*filter) == typeid(AppEventFilter));
    }

    void helpers_areDirectChildrenOneOfEach()
    {
        TestApplication app;
        app.setInactivityTimeout(0);
        app.setInactivityTimeout(0);
        constexpr auto Direct = Qt::FindDirectChildrenOnly;
        QCOMPARE(app.findChildren<QSocketNotifier*>(QString(), Direct).size(), 1);
        QCOMPARE(app.findChildren<QTimer*>(QString(), Direct).size(), 1);
        QCOMPARE(app.findChildren<AppEventFilter*>(QString(), Direct).size(), 1);
    }

    void members_haveTheirOrder()
    {
        TestApplication app;
        QString const folder = QStringLiteral("/nowhere");
        app.setInactivityTimeout(0);
        app.setScreenshotsDirectory(folder);
        QVorlinApplication const& object = app;
        auto const notifier = offsetIn(object, app.findChild<QSocketNotifier*>());
        auto const timer = offsetIn(object, app.findChild<QTimer*>());
        auto const directory = offsetIn(object, folder);
        auto const type = offsetIn(object, breakEventType(app));
        QCOMPARE(notifier, std::ptrdiff_t(sizeof(QApplication)));
        QCOMPARE(timer, notifier + std::ptrdiff_t(sizeof(void*)));
        // The flag lies between.
        QCOMPARE(directory, timer + 2 * std::ptrdiff_t(sizeof(void*)));
        QCOMPARE(type, directory + std::ptrdiff_t(sizeof(void*)));
    }

    void constructor_doesNotOpenTheLog()
    {
        QtMessageHandler const before = qInstallMessageHandler(nullptr);
        qInstallMessageHandler(before);
        TestApplication const app;
        QVERIFY(qInstallMessageHandler(before) == before);
        QCOMPARE(fakelogger::takeCalls(), QStringList());
    }

    void end_closesTheLog()
    {
        {
            TestApplication const app;
        }
        QCOMPARE(fakelogger::takeCalls(), QStringList{QStringLiteral("close")});
    }

    void eventType_isRegisteredBeforeTheSocketsAreMade()
    {
        int later = 0;
        systemcalls::onSocketPair = [&] {
            later = QEvent::registerEventType(-1);
        };
        TestApplication app;
        int const type = breakEventType(app);
        QVERIFY(type >= QEvent::User && type <= QEvent::MaxUser);
        // Numbers are given from the top downwards.
        QCOMPARE(type, later + 1);
    }

    void eachApplication_registersATypeOfItsOwn()
    {
        int first = 0;
        {
            TestApplication app;
            first = breakEventType(app);
        }
        TestApplication app;
        QVERIFY(breakEventType(app) != first);
    }

    void eventFilter_holdsBackWhatTheApplicationSays()
    {
        TestApplication app;
        AppEventFilter* const filter = app.findChild<AppEventFilter*>();
        Receiver receiver;
        QEvent move(QEvent::MouseMove);
        QVERIFY(!filter->eventFilter(&receiver, &move));
        QVERIFY(!app.handleEvent(&receiver, &move));

        app.setInactivityTimeout(1000);
        QVERIFY(!filter->eventFilter(&receiver, &move));
        QVERIFY(QMetaObject::invokeMethod(&app, "onInactivityTimeout"));
        QVERIFY(filter->eventFilter(&receiver, &move));
        QVERIFY(!filter->eventFilter(&receiver, &move));
        QVERIFY(QMetaObject::invokeMethod(&app, "onInactivityTimeout"));
        QVERIFY(app.handleEvent(&receiver, &move));
    }

    void eventFilter_seesEventsOfEveryObject()
    {
        TestApplication app;
        Receiver receiver;
        QEvent press(QEvent::TouchBegin);
        app.setInactivityTimeout(1000);
        QVERIFY(QMetaObject::invokeMethod(&app, "onInactivityTimeout"));
        QCoreApplication::sendEvent(&receiver, &press);
        QCOMPARE(receiver.received, 0);
        QCoreApplication::sendEvent(&receiver, &press);
        QCOMPARE(receiver.received, 1);
    }

    void arguments_areTakenAsByQApplication()
    {
        char arguments[][12] = {"program", "-platform", "minimal", "file"};
        char* argv[] = {arguments[0], arguments[1], arguments[2], arguments[3], nullptr};
        int argc = 4;
        QVorlinApplication const app(argc, argv);
        QCOMPARE(argc, 2);
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("minimal"));
        QCOMPARE(QCoreApplication::arguments(),
            (QStringList{QStringLiteral("program"), QStringLiteral("file")}));
    }
};

QVORLIN_APPLICATION_TEST_MAIN(QVorlinApplicationTest)

#include "tst_qvorlinapplication.moc"
