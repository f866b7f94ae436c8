#include <optional>

#include <dlfcn.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QVector>

#include "fakelogger.h"
#include "messagecheck.h"
#include "testapplication.h"

namespace {

constexpr int Never = 3600000; // ms

// The events of the user that reach a widget, in their order.
class TouchedWidget : public QWidget
{
public:
    TouchedWidget()
    {
        setAttribute(Qt::WA_AcceptTouchEvents);
        setMouseTracking(true);
        resize(200, 100);
    }

    QVector<QEvent::Type> take() { return std::exchange(mEvents, {}); }

protected:
    bool event(QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::Wheel:
            mEvents << event->type();
            event->accept();
            return true;
        default:
            return QWidget::event(event);
        }
    }

private:
    QVector<QEvent::Type> mEvents;
};

using Types = QVector<QEvent::Type>;

} // namespace

class InactivityTest;
using Input = void (InactivityTest::*)();

Q_DECLARE_METATYPE(QVector<QEvent::Type>)
Q_DECLARE_METATYPE(Input)

// Input comes as from the platform: into the window, by the event queue.
class InactivityTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mApp.emplace();
        mInactive.emplace(&*mApp, &QVorlinApplication::inactivityTimeout);
        mActive.emplace(&*mApp, &QVorlinApplication::active);
        mTouchScreen = QTest::createTouchDevice();
        mWidget.emplace();
        mWidget->show();
        QVERIFY(QTest::qWaitForWindowExposed(&*mWidget));
        moveMouse();
        mWidget->take();
        fakelogger::takeCalls();
    }
    void cleanup()
    {
        mWidget.reset();
        mActive.reset();
        mInactive.reset();
        mApp.reset();
    }

    void neverSet_nothingHappens()
    {
        QVERIFY(!timer());
        everyInputReachesTheWidget();
        mApp->sendBreakInactivityEvent();
        QCOMPARE(mActive->size() + mInactive->size(), 0);
        QVERIFY(!timer());
    }

    void turnedOff_nothingHappens_data()
    {
        QTest::addColumn<int>("ms");
        QTest::newRow("zero") << 0;
        QTest::newRow("negative") << -1;
        QTest::newRow("lowest") << INT_MIN;
    }
    void turnedOff_nothingHappens()
    {
        QFETCH(int, ms);
        mApp->setInactivityTimeout(ms);
        QVERIFY(!timer()->isActive());
        QCOMPARE(timer()->interval(), ms);
        everyInputReachesTheWidget();
        mApp->sendBreakInactivityEvent();
        QVERIFY(!timer()->isActive());

        mApp->setInactivityTimeout(20);
        mApp->setInactivityTimeout(ms);
        QVERIFY(!timer()->isActive());
        QTest::qWait(60);
        QCOMPARE(mActive->size() + mInactive->size(), 0);
    }

    void turnedOffWhileInactive_nothingIsHeldBack()
    {
        becomeInactive();
        mApp->setInactivityTimeout(0);
        everyInputReachesTheWidget();
        QCOMPARE(mActive->size(), 0);
    }

    void timer_isOneSingleShotChild()
    {
        mApp->setInactivityTimeout(Never);
        QTimer const* const first = timer();
        QVERIFY(first);
        QVERIFY(first->isSingleShot());
        QCOMPARE(first->interval(), Never);
        QVERIFY(first->isActive());
        mApp->setInactivityTimeout(Never - 1);
        QCOMPARE(mApp->findChildren<QTimer*>().size(), 1);
        QCOMPARE(timer(), first);
        QCOMPARE(first->interval(), Never - 1);
    }

    void setAgain_startsTheTimeAnew()
    {
        mApp->setInactivityTimeout(Never);
        timer()->stop();
        mApp->setInactivityTimeout(Never);
        QVERIFY(timer()->isActive());
    }

    void noInput_emitsTimeoutOnce()
    {
        QElapsedTimer elapsed;
        elapsed.start();
        mApp->setInactivityTimeout(200);
        QTRY_COMPARE(mInactive->size(), 1);
        QVERIFY(elapsed.elapsed() >= 190);
        QTest::qWait(450);
        QCOMPARE(mInactive->size(), 1);
        QCOMPARE(mActive->size(), 0);
        QCOMPARE(fakelogger::takeCalls(), QStringList());
    }

    void timeWithoutTouch_endsWithATouchThatIsHeldBack()
    {
        mApp->setInactivityTimeout(100);
        QTRY_COMPARE(mInactive->size(), 1);
        // A slow machine must not become inactive again in between.
        timer()->setInterval(Never);
        touch();
        QCOMPARE(mActive->size(), 1);
        QCOMPARE(mWidget->take(), Types{});
        touch();
        QCOMPARE(mActive->size(), 1);
        QCOMPARE(
            mWidget->take(), (Types{QEvent::TouchBegin, QEvent::TouchUpdate, QEvent::TouchEnd}));
    }

    void firstActivity_isHeldBackAndTheNextIsNot_data()
    {
        QTest::addColumn<Input>("input");
        QTest::addColumn<Types>("firstTime");
        QTest::addColumn<Types>("secondTime");
        QTest::newRow("key") << &InactivityTest::clickKey << Types{QEvent::KeyRelease}
                             << Types{QEvent::KeyPress, QEvent::KeyRelease};
        QTest::newRow("mouse") << &InactivityTest::moveMouse << Types{} << Types{QEvent::MouseMove};
        QTest::newRow("touch") << &InactivityTest::touch << Types{}
                               << Types{QEvent::TouchBegin, QEvent::TouchUpdate, QEvent::TouchEnd};
    }
    void firstActivity_isHeldBackAndTheNextIsNot()
    {
        QFETCH(Input, input);
        QFETCH(Types, firstTime);
        QFETCH(Types, secondTime);
        becomeInactive();
        (this->*input)();
        QCOMPARE(mActive->size(), 1);
        QCOMPARE(mWidget->take(), firstTime);
        (this->*input)();
        QCOMPARE(mActive->size(), 1);
        QCOMPARE(mWidget->take(), secondTime);
        QCOMPARE(mInactive->size(), 1);
    }

    void firstTap_pressesNoButton()
    {
        mWidget.reset();
        QPushButton button;
        button.resize(200, 100);
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        QSignalSpy const clicks(&button, &QPushButton::clicked);
        becomeInactive();
        tap(button.windowHandle());
        QCOMPARE(mActive->size(), 1);
        QCOMPARE(clicks.size(), 0);
        tap(button.windowHandle());
        QCOMPARE(clicks.size(), 1);
    }

    void otherInput_isNoActivity_data()
    {
        QTest::addColumn<Input>("input");
        QTest::addColumn<Types>("reaching");
        QTest::newRow("click without movement")
            << &InactivityTest::clickMouse
            << Types{QEvent::MouseButtonPress, QEvent::MouseButtonRelease};
        QTest::newRow("wheel") << &InactivityTest::turnWheel << Types{QEvent::Wheel};
        QTest::newRow("key release") << &InactivityTest::releaseKey << Types{QEvent::KeyRelease};
        QTest::newRow("touch update and end")
            << &InactivityTest::endTouch << Types{QEvent::TouchUpdate, QEvent::TouchEnd};
    }
    void otherInput_isNoActivity()
    {
        QFETCH(Input, input);
        QFETCH(Types, reaching);
        pressFinger(window());
        QTest::keyPress(window(), Qt::Key_A);
        mWidget->take();

        becomeInactive();
        timer()->stop();
        (this->*input)();
        QCOMPARE(mActive->size(), 0);
        QVERIFY(!timer()->isActive());
        QCOMPARE(mWidget->take(), reaching);
    }

    void activity_startsTheTimeAnew_data()
    {
        QTest::addColumn<Input>("input");
        QTest::newRow("key") << &InactivityTest::clickKey;
        QTest::newRow("mouse") << &InactivityTest::moveMouse;
        QTest::newRow("touch") << &InactivityTest::touch;
        QTest::newRow("break") << &InactivityTest::sendBreak;
    }
    void activity_startsTheTimeAnew()
    {
        QFETCH(Input, input);
        mApp->setInactivityTimeout(Never);
        timer()->stop();
        (this->*input)();
        QVERIFY(timer()->isActive());

        // What ends an inactive spell does so as well.
        becomeInactive();
        timer()->stop();
        (this->*input)();
        QCOMPARE(mActive->size(), 1);
        QVERIFY(timer()->isActive());
    }

    void inputInTime_putsOffTheTimeout()
    {
        mApp->setInactivityTimeout(1000);
        QTest::qWait(200);
        QCOMPARE(mInactive->size(), 0);
        clickKey();
        QElapsedTimer sinceKey;
        sinceKey.start();
        QVERIFY(mInactive->wait(20000));
        QVERIFY(sinceKey.elapsed() >= 900);
    }

    void spells_followEachOther()
    {
        mApp->setInactivityTimeout(50);
        for (int spell = 1; spell <= 3; ++spell) {
            QTRY_COMPARE(mInactive->size(), spell);
            clickKey();
            QCOMPARE(mActive->size(), spell);
        }
    }

    void breakEvent_endsTheSpell()
    {
        becomeInactive();
        mApp->sendBreakInactivityEvent();
        QCOMPARE(mActive->size(), 1);
        mApp->sendBreakInactivityEvent();
        QCOMPARE(mActive->size(), 1);
        clickKey();
        QCOMPARE(mWidget->take(), (Types{QEvent::KeyPress, QEvent::KeyRelease}));
    }

    void breakEvent_isSentToTheApplication()
    {
        struct Observer : QObject
        {
            bool eventFilter(QObject* watched, QEvent* event) override
            {
                seen.append({watched, event->type()});
                return false;
            }
            QVector<QPair<QObject*, int>> seen;
        } observer;
        mApp->installEventFilter(&observer);
        mApp->sendBreakInactivityEvent();
        QCOMPARE(observer.seen.size(), 1);
        QCOMPARE(observer.seen[0].first, &*mApp);
        QVERIFY(observer.seen[0].second >= QEvent::User);
        QVERIFY(observer.seen[0].second <= QEvent::MaxUser);
    }

    void breakEventWithoutApplication_isNotSent()
    {
        becomeInactive();
        // As it is in the last moments of a program.
        auto* const instance =
            static_cast<QCoreApplication**>(dlsym(RTLD_DEFAULT, "_ZN16QCoreApplication4selfE"));
        QVERIFY(instance && *instance == &*mApp);
        QCoreApplication* const app = std::exchange(*instance, nullptr);
        mApp->sendBreakInactivityEvent();
        *instance = app;
        QCOMPARE(mActive->size(), 0);
    }

    void timeoutWhileNotActive_isLoggedAndNotEmitted()
    {
        becomeInactive();
        QVERIFY(QMetaObject::invokeMethod(&*mApp, "onInactivityTimeout"));
        QCOMPARE(mInactive->size(), 1);
        QCOMPARE(fakelogger::takeCalls(),
            QStringList{QStringLiteral("warning: inactivity timeout while not active\n")});
    }

    void setWhileInactive_makesActiveWithoutASignal()
    {
        becomeInactive();
        mApp->setInactivityTimeout(Never);
        QCOMPARE(mActive->size(), 0);
        clickKey();
        QCOMPARE(mActive->size(), 0);
        QCOMPARE(mWidget->take(), (Types{QEvent::KeyPress, QEvent::KeyRelease}));
    }

    void runningTimer_endsWithTheApplication()
    {
        mApp->setInactivityTimeout(Never);
        cleanup();
    }

private:
    QTimer* timer() { return mApp->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly); }
    QWindow* window() { return mWidget->windowHandle(); }

    // The time is up, without waiting for it.
    void becomeInactive()
    {
        int const before = mInactive->size();
        mApp->setInactivityTimeout(Never);
        QVERIFY(QMetaObject::invokeMethod(&*mApp, "onInactivityTimeout"));
        QCOMPARE(mInactive->size(), before + 1);
    }

    void everyInputReachesTheWidget()
    {
        clickKey();
        QCOMPARE(mWidget->take(), (Types{QEvent::KeyPress, QEvent::KeyRelease}));
        moveMouse();
        QCOMPARE(mWidget->take(), Types{QEvent::MouseMove});
        clickMouse();
        QCOMPARE(mWidget->take(), (Types{QEvent::MouseButtonPress, QEvent::MouseButtonRelease}));
        touch();
        QCOMPARE(
            mWidget->take(), (Types{QEvent::TouchBegin, QEvent::TouchUpdate, QEvent::TouchEnd}));
    }

    void clickKey() { QTest::keyClick(window(), Qt::Key_A); }
    void releaseKey() { QTest::keyRelease(window(), Qt::Key_A); }
    void moveMouse()
    {
        mMouse.rx() = mMouse.x() % 100 + 10;
        QTest::mouseMove(window(), mMouse);
    }
    void clickMouse() { QTest::mouseClick(window(), Qt::LeftButton, {}, mMouse); }
    void turnWheel()
    {
        QWheelEvent event(mMouse, window()->mapToGlobal(mMouse), QPoint(), QPoint(0, 120),
            Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&*mWidget, &event);
    }
    void touch()
    {
        pressFinger(window());
        endTouch();
    }
    void endTouch()
    {
        QTest::touchEvent(window(), mTouchScreen).move(0, QPoint(30, 10), window());
        liftFinger(window());
    }
    void pressFinger(QWindow* target)
    {
        QTest::touchEvent(target, mTouchScreen).press(0, QPoint(10, 10), target);
    }
    void liftFinger(QWindow* target)
    {
        QTest::touchEvent(target, mTouchScreen).release(0, QPoint(10, 10), target);
    }
    void tap(QWindow* target)
    {
        pressFinger(target);
        liftFinger(target);
    }
    void sendBreak() { mApp->sendBreakInactivityEvent(); }

    std::optional<TestApplication> mApp;
    std::optional<QSignalSpy> mInactive;
    std::optional<QSignalSpy> mActive;
    std::optional<TouchedWidget> mWidget;
    QTouchDevice* mTouchScreen = nullptr;
    QPoint mMouse{10, 10};
};

QVORLIN_APPLICATION_TEST_MAIN(InactivityTest)

#include "tst_inactivity.moc"
