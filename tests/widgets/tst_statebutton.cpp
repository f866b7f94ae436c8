#include "widgets/statebutton.h"

#include <memory>

#include <QApplication>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QMouseEvent>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include "hand.h"
#include "messagecheck.h"
#include "objectlayout.h"

namespace {

template<typename AnyHand>
std::unique_ptr<Hand> make(QWindow* window)
{
    return std::make_unique<AnyHand>(window);
}
using MakeHand = std::unique_ptr<Hand> (*)(QWindow*);

QPoint const OnButton(100, 50);
QPoint const BesideButton(190, 90);

} // namespace

Q_DECLARE_METATYPE(MakeHand)
Q_DECLARE_METATYPE(Qt::MouseButton)

class TestStateButton : public QObject
{
    Q_OBJECT

public:
    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonPress)
            mSincePress.start();
        return QObject::eventFilter(object, event);
    }

private slots:
    void init();
    void cleanup();

    void metaObject_hasTwoSignalsAndAPrivateSlot();
    void members_areTheTimerAndTheFlag();
    void newButton_hasNoParentAndAnIdleTimer();
    void tap_isReportedOnRelease_data() { addHands(); }
    void tap_isReportedOnRelease();
    void hold_isReportedOnceAfterASecondWhileDown_data() { addHands(); }
    void hold_isReportedOnceAfterASecondWhileDown();
    void releaseBeside_isATapButNoClick_data() { addHands(); }
    void releaseBeside_isATapButNoClick();
    void holdAndReleaseBeside_isAHoldButNoClick_data() { addHands(); }
    void holdAndReleaseBeside_isAHoldButNoClick();
    void doubleClick_isTwoTaps();
    void press_startsTheTimerBeforeTheBaseClassHandlesIt();
    void release_stopsTheTimerBeforeTheTapIsReported();
    void secondPress_startsTheTimeAnew();
    void pressThatTheBaseClassIgnores_startsTheTimer_data();
    void pressThatTheBaseClassIgnores_startsTheTimer();
    void disabledButton_reportsNothing();
    void holdOfAButtonThatIsDisabledMeanwhile_isReported();
    void releaseAfterATap_isAnotherTap();
    void releaseBeforeAnyPress_isNoTap();
    void releaseAfterAHold_isNoTap();
    void tapAfterAHold_isATap();
    void checkableButton_toggles();
    void spaceKey_clicksOnly();
    void longPressSlot_endsThePress();

private:
    static void addHands();
    /** A hand as the test's data say, once the window is there. */
    std::unique_ptr<Hand> hand() const;
    /** The same, which has pressed the button and left it without a release; null if it can't. */
    std::unique_ptr<Hand> handThatPressedAndLeft() const;
    QTimer* timer() const { return mButton->findChild<QTimer*>(); }
    /** Lets the running time pass at once. */
    void elapse() const;
    bool send(QEvent::Type type, QPoint const& place, Qt::MouseButton button = Qt::LeftButton);
    bool press() { return send(QEvent::MouseButtonPress, mButton->rect().center()); }
    bool release() { return send(QEvent::MouseButtonRelease, mButton->rect().center()); }

    std::unique_ptr<QWidget> mWindow;
    StateButton* mButton = nullptr;
    QStringList mSignals;
    QElapsedTimer mSincePress;
    qint64 mHoldTime = 0;
    bool mWasDownAtHold = false;
};

void TestStateButton::init()
{
    mWindow = std::make_unique<QWidget>();
    mWindow->resize(200, 100);
    mButton = new StateButton(mWindow.get());
    mButton->setGeometry(50, 25, 100, 50);
    mButton->installEventFilter(this);
    mSignals.clear();
    connect(
        mButton, &StateButton::pressed, this, [this] { mSignals << QStringLiteral("pressed"); });
    connect(
        mButton, &StateButton::released, this, [this] { mSignals << QStringLiteral("released"); });
    connect(
        mButton, &StateButton::clicked, this, [this] { mSignals << QStringLiteral("clicked"); });
    connect(mButton, &StateButton::tapRelease, this,
        [this] { mSignals << QStringLiteral("tapRelease"); });
    connect(mButton, &StateButton::tapAndHold, this, [this] {
        mSignals << QStringLiteral("tapAndHold");
        mHoldTime = mSincePress.elapsed();
        mWasDownAtHold = mButton->isDown();
    });
}

void TestStateButton::cleanup()
{
    mWindow.reset();
}

void TestStateButton::addHands()
{
    QTest::addColumn<MakeHand>("makeHand");
    QTest::newRow("mouse, Qt") << &make<QtMouse>;
    QTest::newRow("mouse, X server") << &make<XMouse>;
    QTest::newRow("touch") << &make<Finger>;
}

std::unique_ptr<Hand> TestStateButton::hand() const
{
    QFETCH(MakeHand, makeHand);
    mWindow->show();
    return QTest::qWaitForWindowExposed(mWindow.get()) ? makeHand(mWindow->windowHandle())
                                                       : nullptr;
}

std::unique_ptr<Hand> TestStateButton::handThatPressedAndLeft() const
{
    std::unique_ptr<Hand> hand = this->hand();
    if (!hand)
        return nullptr;
    hand->press(OnButton);
    if (!QTest::qWaitFor([this] { return mButton->isDown(); }))
        return nullptr;
    hand->moveTo(BesideButton);
    return QTest::qWaitFor([this] { return !mButton->isDown(); }) ? std::move(hand) : nullptr;
}

void TestStateButton::elapse() const
{
    timer()->start(0);
    QTRY_VERIFY(!timer()->isActive());
}

/** Whether the button took the event. */
bool TestStateButton::send(QEvent::Type type, QPoint const& place, Qt::MouseButton button)
{
    Qt::MouseButtons const down =
        type == QEvent::MouseButtonPress ? Qt::MouseButtons(button) : Qt::MouseButtons();
    QMouseEvent event(type, place, mButton->mapToGlobal(place), button, down, Qt::NoModifier);
    QCoreApplication::sendEvent(mButton, &event);
    return event.isAccepted();
}

void TestStateButton::metaObject_hasTwoSignalsAndAPrivateSlot()
{
    QMetaObject const& meta = StateButton::staticMetaObject;
    QCOMPARE(meta.superClass(), &QPushButton::staticMetaObject);
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QMetaMethod const method = meta.method(i);
        QCOMPARE(method.returnType(), int(QMetaType::Void));
        methods << QStringLiteral("%1 %2 %3")
                       .arg(QString::fromLatin1(method.methodSignature()))
                       .arg(method.methodType())
                       .arg(method.access());
    }
    auto const row = [](char const* signature, QMetaMethod::MethodType type,
                         QMetaMethod::Access access) {
        return QStringLiteral("%1 %2 %3").arg(QString::fromLatin1(signature)).arg(type).arg(access);
    };
    QCOMPARE(methods, (QStringList{row("tapAndHold()", QMetaMethod::Signal, QMetaMethod::Public),
                          row("tapRelease()", QMetaMethod::Signal, QMetaMethod::Public),
                          row("onLongPress()", QMetaMethod::Slot, QMetaMethod::Private)}));
}

void TestStateButton::members_areTheTimerAndTheFlag()
{
    QCOMPARE(offsetIn(*mButton, timer()), std::ptrdiff_t(sizeof(QPushButton)));
    QCOMPARE(sizeof(StateButton), sizeof(QPushButton) + 2 * sizeof(QTimer*));
    auto const* flag =
        reinterpret_cast<unsigned char const*>(mButton) + sizeof(QPushButton) + sizeof(QTimer*);
    QCOMPARE(int(*flag), 0);
    press();
    QCOMPARE(int(*flag), 1);
    elapse();
    QCOMPARE(int(*flag), 0);
}

void TestStateButton::newButton_hasNoParentAndAnIdleTimer()
{
    StateButton const button;
    QVERIFY(!button.parent());
    QVERIFY(!button.isCheckable());
    QCOMPARE(button.text(), QString());
    QCOMPARE(button.children().size(), 1);
    auto const* timer = qobject_cast<QTimer*>(button.children().first());
    QVERIFY(timer);
    QVERIFY(timer->isSingleShot());
    QVERIFY(!timer->isActive());
    QCOMPARE(mButton->parent(), mWindow.get());
}

void TestStateButton::tap_isReportedOnRelease()
{
    std::unique_ptr<Hand> const hand = this->hand();
    QVERIFY(hand);
    hand->press(OnButton);
    QTRY_VERIFY(mButton->isDown());
    QTest::qWait(200);
    QCOMPARE(mSignals, QStringList{QStringLiteral("pressed")});
    hand->release(OnButton);
    QTRY_COMPARE(mSignals.size(), 4);
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("tapRelease"),
                           QStringLiteral("released"), QStringLiteral("clicked")}));
    QVERIFY(!timer()->isActive());
}

void TestStateButton::hold_isReportedOnceAfterASecondWhileDown()
{
    std::unique_ptr<Hand> const hand = this->hand();
    QVERIFY(hand);
    hand->press(OnButton);
    QTRY_COMPARE(mSignals.size(), 2);
    QCOMPARE(mSignals.last(), QStringLiteral("tapAndHold"));
    QVERIFY2(mHoldTime >= 999 && mHoldTime < 1900, qPrintable(QString::number(mHoldTime)));
    QVERIFY(mWasDownAtHold);
    QTRY_VERIFY(mSincePress.elapsed() >= 1500);
    QVERIFY(mButton->isDown());
    hand->release(OnButton);
    QTRY_VERIFY(mSignals.size() >= 4);
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("tapAndHold"),
                           QStringLiteral("released"), QStringLiteral("clicked")}));
}

void TestStateButton::releaseBeside_isATapButNoClick()
{
    std::unique_ptr<Hand> const hand = handThatPressedAndLeft();
    QVERIFY(hand);
    QVERIFY(timer()->isActive());
    hand->release(BesideButton);
    QTRY_COMPARE(mSignals.size(), 3);
    // The base class takes leaving the button for its release.
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("released"),
                           QStringLiteral("tapRelease")}));
}

void TestStateButton::holdAndReleaseBeside_isAHoldButNoClick()
{
    std::unique_ptr<Hand> const hand = handThatPressedAndLeft();
    QVERIFY(hand);
    elapse();
    hand->release(BesideButton);
    QTRY_VERIFY(!(QGuiApplication::mouseButtons() & Qt::LeftButton));
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("released"),
                           QStringLiteral("tapAndHold")}));
}

void TestStateButton::doubleClick_isTwoTaps()
{
    mWindow->show();
    QVERIFY(QTest::qWaitForWindowExposed(mWindow.get()));
    XMouse(mWindow->windowHandle()).doubleClick(OnButton);
    QTRY_COMPARE(mSignals.size(), 8);
    QCOMPARE(mSignals.count(QStringLiteral("tapRelease")), 2);
    QCOMPARE(mSignals.count(QStringLiteral("clicked")), 2);
}

void TestStateButton::press_startsTheTimerBeforeTheBaseClassHandlesIt()
{
    int interval = 0;
    connect(mButton, &StateButton::pressed, this,
        [&] { interval = timer()->isActive() ? timer()->interval() : -1; });
    QVERIFY(press());
    QCOMPARE(interval, 1000);
    QVERIFY(timer()->isSingleShot());
}

void TestStateButton::release_stopsTheTimerBeforeTheTapIsReported()
{
    bool wasActive = true;
    bool wasDown = false;
    connect(mButton, &StateButton::tapRelease, this, [&] {
        wasActive = timer()->isActive();
        wasDown = mButton->isDown();
    });
    press();
    QVERIFY(release());
    QVERIFY(!wasActive);
    QVERIFY(wasDown);
    QVERIFY(!mButton->isDown());
}

void TestStateButton::secondPress_startsTheTimeAnew()
{
    press();
    QTRY_VERIFY(timer()->remainingTime() < 800);
    int const left = timer()->remainingTime();
    // Of another button, while the first is still down.
    send(QEvent::MouseButtonPress, QPoint(5, 5), Qt::RightButton);
    QVERIFY(timer()->remainingTime() > left);
    QCOMPARE(timer()->interval(), 1000);
    QVERIFY(!mSignals.contains(QStringLiteral("tapAndHold")));
}

void TestStateButton::pressThatTheBaseClassIgnores_startsTheTimer_data()
{
    QTest::addColumn<QPoint>("place");
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::newRow("right button") << QPoint(5, 5) << Qt::RightButton;
    QTest::newRow("middle button") << QPoint(5, 5) << Qt::MiddleButton;
    QTest::newRow("beside") << QPoint(-5, 5) << Qt::LeftButton;
}

void TestStateButton::pressThatTheBaseClassIgnores_startsTheTimer()
{
    QFETCH(QPoint, place);
    QFETCH(Qt::MouseButton, button);
    QStringList wanted;
    QVERIFY(!send(QEvent::MouseButtonPress, place, button));
    QVERIFY(timer()->isActive());
    QCOMPARE(timer()->interval(), 1000);
    QVERIFY(!mButton->isDown());
    send(QEvent::MouseButtonRelease, place, button);
    QVERIFY(!timer()->isActive());
    wanted << QStringLiteral("tapRelease");
    QCOMPARE(mSignals, wanted);

    send(QEvent::MouseButtonPress, place, button);
    elapse();
    send(QEvent::MouseButtonRelease, place, button);
    wanted << QStringLiteral("tapAndHold");
    QCOMPARE(mSignals, wanted);
}

void TestStateButton::disabledButton_reportsNothing()
{
    mButton->setEnabled(false);
    press();
    QVERIFY(!timer()->isActive());
    release();
    QCOMPARE(mSignals, QStringList());
}

void TestStateButton::holdOfAButtonThatIsDisabledMeanwhile_isReported()
{
    press();
    mButton->setEnabled(false);
    elapse();
    release();
    QCOMPARE(mSignals.count(QStringLiteral("tapAndHold")), 1);
    QVERIFY(!mSignals.contains(QStringLiteral("tapRelease")));
}

void TestStateButton::releaseAfterATap_isAnotherTap()
{
    press();
    release();
    mSignals.clear();
    release();
    QCOMPARE(mSignals, QStringList{QStringLiteral("tapRelease")});
    release();
    QCOMPARE(mSignals.size(), 2);
}

void TestStateButton::releaseBeforeAnyPress_isNoTap()
{
    release();
    QCOMPARE(mSignals, QStringList());
}

void TestStateButton::releaseAfterAHold_isNoTap()
{
    press();
    elapse();
    release();
    mSignals.clear();
    release();
    QCOMPARE(mSignals, QStringList());
}

void TestStateButton::tapAfterAHold_isATap()
{
    press();
    elapse();
    release();
    mSignals.clear();
    press();
    release();
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("tapRelease"),
                           QStringLiteral("released"), QStringLiteral("clicked")}));
}

void TestStateButton::checkableButton_toggles()
{
    mButton->setCheckable(true);
    press();
    release();
    QVERIFY(mButton->isChecked());
    press();
    elapse();
    QVERIFY(mButton->isChecked());
    release();
    QVERIFY(!mButton->isChecked());
}

void TestStateButton::spaceKey_clicksOnly()
{
    QTest::keyPress(mButton, Qt::Key_Space);
    QVERIFY(!timer()->isActive());
    QTest::keyRelease(mButton, Qt::Key_Space);
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("released"),
                           QStringLiteral("clicked")}));
}

void TestStateButton::longPressSlot_endsThePress()
{
    press();
    QVERIFY(QMetaObject::invokeMethod(mButton, "onLongPress", Qt::DirectConnection));
    release();
    QCOMPARE(mSignals, (QStringList{QStringLiteral("pressed"), QStringLiteral("tapAndHold"),
                           QStringLiteral("released"), QStringLiteral("clicked")}));
}

QVORLIN_TEST_MAIN(QApplication, TestStateButton)

#include "tst_statebutton.moc"
