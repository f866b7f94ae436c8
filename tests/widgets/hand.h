#ifndef HAND_H
#define HAND_H

#include <QProcess>
#include <QTest>
#include <QWindow>

/** Presses what lies at places of a window. What is still down at the end is let go. */
class Hand
{
public:
    explicit Hand(QWindow* window)
        : mWindow(window)
    {}
    virtual ~Hand() = default;

    virtual void press(QPoint const& place) = 0;
    virtual void moveTo(QPoint const& place) = 0;
    virtual void release(QPoint const& place) = 0;

protected:
    QWindow* mWindow;
};

/** Events that are handed to Qt as from a platform. */
class QtMouse : public Hand
{
public:
    using Hand::Hand;
    void press(QPoint const& place) override
    {
        QTest::mousePress(mWindow, Qt::LeftButton, {}, place);
    }
    void moveTo(QPoint const& place) override { QTest::mouseMove(mWindow, place); }
    void release(QPoint const& place) override
    {
        QTest::mouseRelease(mWindow, Qt::LeftButton, {}, place);
    }
};

/** The X server's own mouse. */
class XMouse : public Hand
{
public:
    using Hand::Hand;
    ~XMouse() override
    {
        if (mIsDown)
            run({QStringLiteral("mouseup"), QStringLiteral("1")});
        // Where no window of another test comes up under it.
        run({QStringLiteral("mousemove"), QStringLiteral("1900"), QStringLiteral("1060")});
    }

    void press(QPoint const& place) override
    {
        mIsDown = true;
        run(move(place) + QStringList{QStringLiteral("mousedown"), QStringLiteral("1")});
    }
    void moveTo(QPoint const& place) override { run(move(place)); }
    void release(QPoint const& place) override
    {
        mIsDown = false;
        run(move(place) + QStringList{QStringLiteral("mouseup"), QStringLiteral("1")});
    }
    void doubleClick(QPoint const& place)
    {
        run(move(place) + QStringList{QStringLiteral("click"), QStringLiteral("--repeat"),
                              QStringLiteral("2"), QStringLiteral("--delay"), QStringLiteral("50"),
                              QStringLiteral("1")});
    }

private:
    QStringList move(QPoint const& place) const
    {
        QPoint const onScreen = mWindow->mapToGlobal(place);
        return {QStringLiteral("mousemove"), QString::number(onScreen.x()),
            QString::number(onScreen.y())};
    }
    static void run(QStringList const& arguments)
    {
        QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), arguments), 0);
    }

    bool mIsDown = false;
};

/** A finger on a touch screen; Qt makes mouse events of it. */
class Finger : public Hand
{
public:
    using Hand::Hand;
    void press(QPoint const& place) override
    {
        QTest::touchEvent(mWindow, screen()).press(0, place, mWindow);
    }
    void moveTo(QPoint const& place) override
    {
        QTest::touchEvent(mWindow, screen()).move(0, place, mWindow);
    }
    void release(QPoint const& place) override
    {
        QTest::touchEvent(mWindow, screen()).release(0, place, mWindow);
    }

private:
    static QTouchDevice* screen()
    {
        static QTouchDevice* const screen = QTest::createTouchDevice();
        return screen;
    }
};

#endif
