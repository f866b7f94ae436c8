#include "application/qvorlinapplication.h"

#include <cerrno>
#include <csignal>
#include <iterator>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCommandLineParser>
#include <QDateTime>
#include <QDir>
#include <QKeyEvent>
#include <QPixmap>
#include <QSocketNotifier>
#include <QTimer>
#include <QWidget>

#include "application/appeventfilter.h"
#include "logger.h"

namespace {

struct CaughtSignal
{
    int number;
    void (QVorlinApplication::*emitted)();
};

constexpr CaughtSignal caughtSignals[] = {
    {SIGTERM, &QVorlinApplication::signalTERM},
    {SIGINT, &QVorlinApplication::signalINT},
    {SIGHUP, &QVorlinApplication::signalHUP},
    {SIGUSR1, &QVorlinApplication::signalUSR1},
    {SIGUSR2, &QVorlinApplication::signalUSR2},
};

// A full socket must not hold up the thread that a signal interrupts, nor an empty one the GUI;
// and programs that this one starts must not hold an end.
void setSocketFlags(int fd)
{
    fcntl(fd, F_SETFL, O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
}

void MessagesToLog(QtMsgType type, QMessageLogContext const& /*context*/, QString const& message)
{
    // Indexed by QtMsgType.
    static constexpr logger::Level levels[] = {
        logger::Debug, logger::Warning, logger::Error, logger::Error, logger::Info};
    if (unsigned(type) < std::size(levels))
        logger::print(levels[type], "%s", message.toLocal8Bit().constData());
}

bool isMainWindow(QObject const* object)
{
    return object->inherits("QMainWindow");
}

QWidget* findMainWindow()
{
    QWidgetList const widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        if (isMainWindow(widget))
            return widget;
    }
    return nullptr;
}

bool isScreenshotKey(QEvent const* event)
{
    if (event->type() != QEvent::KeyPress)
        return false;
    int const key = static_cast<QKeyEvent const*>(event)->key();
    return key == Qt::Key_Backslash || key == Qt::Key_Print;
}

} // namespace

int QVorlinApplication::signalsFd[2] = {-1, -1};

QVorlinApplication::QVorlinApplication(int& argc, char** argv)
    : QApplication(argc, argv)
    , mBreakInactivityEventType(QEvent::registerEventType(-1))
{
    socketpair(AF_UNIX, SOCK_STREAM, 0, signalsFd);
    setSocketFlags(signalsFd[0]);
    setSocketFlags(signalsFd[1]);
    mSignalNotifier = new QSocketNotifier(signalsFd[1], QSocketNotifier::Read, this);
    // Qt hides this signal from the compiler, not from its own connections.
    connect(mSignalNotifier, SIGNAL(activated(int)), SLOT(handleSignal()));
    installSignalHandlers();
    installEventFilter(new AppEventFilter(this));
}

QVorlinApplication::~QVorlinApplication()
{
    // The number may soon belong to another file, into which no later signal must write.
    close(std::exchange(signalsFd[0], -1));
    logger::close();
}

void QVorlinApplication::openLog()
{
    QCommandLineOption const level(
        QStringLiteral("v"), QString(), QStringLiteral("level"), QStringLiteral("info"));
    QCommandLineOption const toStdout(QStringLiteral("vstd"));
    QCommandLineOption const name(
        QStringLiteral("logname"), QString(), QStringLiteral("name"), applicationName());
    QCommandLineParser parser;
    parser.addOptions({level, toStdout, name});
    // It fails on the program's own options, which are unknown here.
    parser.parse(arguments());
    openLog(parser.value(name).toLocal8Bit().constData(),
        parser.value(level).toLocal8Bit().constData(), parser.isSet(toStdout));
}

void QVorlinApplication::openLog(char const* name, char const* level, bool toStdout)
{
    logger::setLevel(level);
    if (name && *name) {
        // The logging library keeps the pointer, and is used until the very end of the process.
        static std::string const& logName = *new std::string(name);
        logger::openSyslog(logName.c_str(), true);
    }
    if (toStdout)
        logger::openStdout();
    qInstallMessageHandler(MessagesToLog);
}

void QVorlinApplication::installSignalHandlers()
{
    struct sigaction action = {};
    action.sa_handler = signalHandler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (CaughtSignal const& caught : caughtSignals)
        sigaction(caught.number, &action, nullptr);
}

void QVorlinApplication::signalHandler(int signum)
{
    int const savedErrno = errno;
    [[maybe_unused]] ssize_t const written = write(signalsFd[0], &signum, sizeof signum);
    errno = savedErrno;
}

void QVorlinApplication::handleSignal()
{
    mSignalNotifier->setEnabled(false);
    int signum = 0;
    if (read(signalsFd[1], &signum, sizeof signum) == sizeof signum) {
        for (CaughtSignal const& caught : caughtSignals) {
            if (caught.number == signum)
                Q_EMIT(this->*caught.emitted)();
        }
    }
    mSignalNotifier->setEnabled(true);
}

void QVorlinApplication::setInactivityTimeout(int ms)
{
    if (!mInactivityTimer) {
        mInactivityTimer = new QTimer(this);
        mInactivityTimer->setSingleShot(true);
        connect(mInactivityTimer, &QTimer::timeout, this, &QVorlinApplication::onInactivityTimeout);
    }
    mActive = true;
    // A running timer would start anew with the interval, and complain of a negative one.
    mInactivityTimer->stop();
    mInactivityTimer->setInterval(ms);
    if (ms > 0)
        mInactivityTimer->start();
}

void QVorlinApplication::onInactivityTimeout()
{
    if (!mActive) {
        logger::warning("inactivity timeout while not active\n");
        return;
    }
    mActive = false;
    Q_EMIT inactivityTimeout();
}

void QVorlinApplication::sendBreakInactivityEvent()
{
    QCoreApplication* const application = QCoreApplication::instance();
    if (!application)
        return;
    QEvent event{QEvent::Type(mBreakInactivityEventType)};
    sendEvent(application, &event);
}

bool QVorlinApplication::isActivity(QEvent const* event) const
{
    QEvent::Type const type = event->type();
    return type == QEvent::MouseMove || type == QEvent::KeyPress || type == QEvent::TouchBegin ||
           type == mBreakInactivityEventType;
}

bool QVorlinApplication::handleEvent(QObject* watched, QEvent* event)
{
    bool wakesUp = false;
    if (mInactivityTimer && isActivity(event)) {
        if (mInactivityTimer->interval() > 0)
            mInactivityTimer->start();
        if (!mActive) {
            mActive = true;
            wakesUp = true;
            Q_EMIT active();
        }
    }
    if (!mScreenshotsDirectory.isEmpty() && isScreenshotKey(event) && isMainWindow(watched))
        saveScreenshot();
    return wakesUp;
}

void QVorlinApplication::setScreenshotsDirectory(QString dir)
{
    mScreenshotsDirectory = dir;
}

void QVorlinApplication::saveScreenshot()
{
    if (mScreenshotsDirectory.isEmpty())
        return;
    QWidget* const mainWindow = findMainWindow();
    if (!mainWindow) {
        logger::warning("screenshot: main window not found");
        return;
    }
    QDir const dir(mScreenshotsDirectory);
    if (!dir.mkpath(mScreenshotsDirectory)) {
        logger::error("screenshot: cannot make path %s\n", qPrintable(mScreenshotsDirectory));
        return;
    }

    QString const time =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy.MM.dd-hh:mm:ss.zzz"));
    QString const path = dir.filePath(QStringLiteral("%1-%2.png").arg(applicationName(), time));
    if (mainWindow->grab().save(path, "png"))
        logger::info("screenshot: saved %s\n", qPrintable(path));
    else
        logger::error("screenshot: failed to save %s\n", qPrintable(path));
}
