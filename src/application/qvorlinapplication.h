#ifndef QVORLINAPPLICATION_H
#define QVORLINAPPLICATION_H

#include <QApplication>
#include <QString>

#include "qvorlinexport.h"

class QSocketNotifier;
class QTimer;

/**
 * The application object of a user-interface program: a QApplication with the log, Unix signals as
 * Qt signals, inactivity detection and screenshots.
 *
 * One in a process. Thread-bound to the GUI thread; its signals are emitted there. Failures of the
 * operating system while signals are set up are not reported: the signals then do not come.
 *
 *     QVorlinApplication app(argc, argv);
 *     QVorlinApplication::openLog();
 *     QObject::connect(&app, &QVorlinApplication::signalTERM, &app, &QApplication::quit);
 *     app.setInactivityTimeout(60000);
 *     return app.exec();
 */
class QVORLIN_EXPORT QVorlinApplication : public QApplication
{
    Q_OBJECT

public:
    /**
     * Catches the five Unix signals from here on; does not open the log.
     * @param argc, argv as for QApplication: must live as long as the application
     */
    QVorlinApplication(int& argc, char** argv);

    /** Closes the log. The five Unix signals have no effect from then on. */
    ~QVorlinApplication() override;

    /**
     * Opens the log as the command line asks, needs the application object:
     *
     *     -v <level>          threshold, "info" at first; the names are those of logger::setLevel()
     *     --vstd              log to standard output as well
     *     --logname <name>    identity in the system log, the application's name at first
     *
     * Other options, and mistakes in these, are left to the program.
     */
    static void openLog();

    /**
     * Opens the log, and sends Qt's own messages there instead of to standard error.
     *
     * @param name identity in the system log; null or empty opens none. The first name holds for
     * the life of the process, later ones open the system log under it again.
     * @param level as logger::setLevel() takes it
     * @param toStdout logs to standard output as well
     */
    static void openLog(char const* name, char const* level, bool toStdout);

    /** Catches the five Unix signals (again); the constructor does so by itself. */
    static void installSignalHandlers();

    /** What the operating system calls for a Unix signal, in any thread. */
    static void signalHandler(int signum);

    /**
     * Emits inactivityTimeout() when there has been no activity for @p ms milliseconds (to within
     * 5 %); 0 or less turns the detection off, as it is at first. The user counts as active anew.
     *
     * Activity is a key press, a mouse movement, the begin of a touch, or
     * sendBreakInactivityEvent(). A mouse button alone is none.
     */
    void setInactivityTimeout(int ms);

    /** Counts as activity of the user, for example when a remote command arrives. */
    void sendBreakInactivityEvent();

    /**
     * Makes Print and Backslash, when pressed on the main window, save a screenshot.
     * @param dir absolute path of the folder for them, made when needed; empty turns it off, as it
     * is at first
     */
    void setScreenshotsDirectory(QString dir);

    /**
     * Saves the main window (the first top-level QMainWindow) as a PNG file that is named after
     * the application and the local time. The log tells the file, or why there is none. Does
     * nothing without a folder.
     */
    void saveScreenshot();

    /**
     * Sees each event before its receiver.
     * @return whether the event is to be held back: only the one that ends an inactive spell is,
     * so that the touch that wakes a sleeping screen presses nothing on it
     */
    bool handleEvent(QObject* watched, QEvent* event);

Q_SIGNALS:
    /** A Unix signal came. One is emitted at a time; the next one waits for its receivers. @{ */
    void signalTERM();
    void signalHUP();
    void signalINT();
    void signalUSR1();
    void signalUSR2();
    /** @} */

    /** There has been no activity for the set time; once in each inactive spell. */
    void inactivityTimeout();

    /** The first activity after inactivityTimeout(). */
    void active();

private Q_SLOTS:
    void handleSignal();
    void onInactivityTimeout();

private:
    bool isActivity(QEvent const* event) const;

    // Where signalHandler() writes, and where mSignalNotifier reads.
    static int signalsFd[2];

    QSocketNotifier* mSignalNotifier = nullptr;
    QTimer* mInactivityTimer = nullptr;
    bool mActive = true;
    QString mScreenshotsDirectory;
    int mBreakInactivityEventType;
};

#endif
