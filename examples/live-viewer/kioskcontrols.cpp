#include "kioskcontrols.h"

#include <algorithm>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QScreen>
#include <QTime>

#include "videowindow.h"

namespace {

// Sizes are those of a window of this size; others are in proportion.
constexpr QSizeF DesignSize(1280, 720);
constexpr double MinScale = 0.5;
constexpr double MaxScale = 4;

constexpr int Distance = 20; // from the window's edges
constexpr int Gap = 12;      // between each other
constexpr int LineHeight = 52;
constexpr int RowHeight = 57; // of clock and button, as of a meter with two bars
constexpr int MaxCardWidth = 208;
constexpr int MaxCardHeight = 230;
constexpr int CardTextPixels = 12;

constexpr int RingIntervalMs = 20;
constexpr int MsPerSecond = 1000;

} // namespace

KioskControls::KioskControls(VideoWindow& window, QString const& address)
    : mWindow(window)
    , mClock(&window)
    , mCard(address, &window)
    , mButton(&window)
{
    // Without a window manager only the geometry makes it so.
    mWindow.setGeometry(mWindow.screen()->geometry());
    mWindow.setWindowState(Qt::WindowFullScreen);
    mWindow.installEventFilter(this);
    arrange();

    auto repaint = [this] {
        mWindow.update();
    };
    connect(&mRingTimer, &QTimer::timeout, this, repaint);
    connect(&mButton, &HoldButton::tapped, this, &KioskControls::tapped);
    connect(&mButton, &HoldButton::held, this, [this] {
        mRingTimer.stop();
        setDetailsShown(!mDetailsShown);
    });
    mSecondTimer.setSingleShot(true);
    mSecondTimer.setTimerType(Qt::PreciseTimer);
    connect(&mSecondTimer, &QTimer::timeout, this, repaint);
    connect(&mSecondTimer, &QTimer::timeout, this, &KioskControls::repaintAtNextSecond);
    repaintAtNextSecond();
}

void KioskControls::setDetailsShown(bool shown)
{
    mDetailsShown = shown;
    mWindow.overlay().setLineShown(shown);
    mCard.setShown(shown);
}

void KioskControls::setSymbol(HoldButton::Symbol symbol)
{
    mButton.setSymbol(symbol);
}

void KioskControls::setDimmed(bool dimmed)
{
    mClock.setDimmed(dimmed);
    mCard.setDimmed(dimmed);
    mButton.setDimmed(dimmed);
}

bool KioskControls::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Resize:
        arrange();
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: // the second of two quick taps
        return press(*static_cast<QMouseEvent*>(event));
    case QEvent::MouseMove:
        if (!mButton.isAt(static_cast<QMouseEvent*>(event)->pos()))
            letGo(&HoldButton::cancel);
        break;
    case QEvent::MouseButtonRelease:
        letGo(&HoldButton::release);
        break;
    case QEvent::Hide:
        letGo(&HoldButton::cancel);
        break;
    case QEvent::KeyPress:
        // There is nothing beside a kiosk to go back to.
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_F)
            return true;
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void KioskControls::arrange()
{
    QSize const size = mWindow.size();
    double const scale = qBound(MinScale,
        std::min(size.width() / DesignSize.width(), size.height() / DesignSize.height()), MaxScale);
    auto scaled = [scale](int pixels) {
        return qRound(pixels * scale);
    };
    mWindow.overlay().setScale(scale);
    mWindow.meter().setScale(scale);

    QRect const inner = QRect(QPoint(), size)
                            .adjusted(scaled(Distance), scaled(LineHeight + Distance),
                                -scaled(Distance), -scaled(Distance));
    QSize const face = ClockOverlay::sizeForHeight(scaled(RowHeight));
    QRect row(QPoint(), QSize(face.width() + scaled(Gap) + face.height(), face.height()));
    row.moveBottomRight(inner.bottomRight());
    mButton.setGeometry(QRect(row.topLeft(), QSize(face.height(), face.height())));
    mClock.setGeometry(row.adjusted(row.width() - face.width(), 0, 0, 0));

    QRect room = inner;
    room.setBottom(row.top() - scaled(Gap) - 1);
    room.setTop(std::max(room.top(), room.bottom() - scaled(MaxCardHeight)));
    room.setLeft(std::max(room.left(), room.right() - scaled(MaxCardWidth)));
    mCard.fitInto(room, scaled(CardTextPixels));
}

void KioskControls::repaintAtNextSecond()
{
    mSecondTimer.start(MsPerSecond - QTime::currentTime().msec());
}

bool KioskControls::press(QMouseEvent const& event)
{
    if (event.button() != Qt::LeftButton || !mButton.isAt(event.pos()))
        return false;
    mButton.press();
    mRingTimer.start(RingIntervalMs);
    return true;
}

/** Ends a press in the way of @p end. */
void KioskControls::letGo(void (HoldButton::*end)())
{
    (mButton.*end)();
    mRingTimer.stop();
    mWindow.update();
}
