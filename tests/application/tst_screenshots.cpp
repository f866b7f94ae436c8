#include <optional>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVector>

#include "application/qvorlinapplication.h"
#include "fakelogger.h"
#include "messagecheck.h"

namespace {

// A main window that remembers the keys that reach it.
class KeyWindow : public QMainWindow
{
public:
    KeyWindow()
    {
        setStyleSheet(QStringLiteral("background: #336699"));
        setCentralWidget(new QLabel(QStringLiteral("a picture")));
        resize(320, 200);
    }

    QVector<int> take() { return std::exchange(mKeys, {}); }

protected:
    void keyPressEvent(QKeyEvent* event) override { mKeys << event->key(); }

private:
    QVector<int> mKeys;
};

} // namespace

class ScreenshotsTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mFolder.emplace();
        QVERIFY(mFolder->isValid());
        mApp->setScreenshotsDirectory(QString());
        mApp->setInactivityTimeout(0);
        mWindow.emplace();
        mWindow->show();
        QVERIFY(QTest::qWaitForWindowExposed(&*mWindow));
        fakelogger::takeCalls();
    }
    void cleanup()
    {
        mWindow.reset();
        mFolder.reset();
    }

    void screenshotKey_savesAndReachesTheWindow_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("Print") << Qt::Key_Print;
        QTest::newRow("Backslash") << Qt::Key_Backslash;
    }
    void screenshotKey_savesAndReachesTheWindow()
    {
        QFETCH(Qt::Key, key);
        mApp->setScreenshotsDirectory(mFolder->path());
        QTest::keyClick(mWindow->windowHandle(), key);
        QCOMPARE(files().size(), 1);
        QCOMPARE(mWindow->take(), QVector<int>{key});
    }

    void noFolder_keyIsOrdinaryInput()
    {
        QTest::keyClick(mWindow->windowHandle(), Qt::Key_Print);
        QCOMPARE(mWindow->take(), QVector<int>{Qt::Key_Print});
        QCOMPARE(fakelogger::takeCalls(), QStringList());
    }

    void emptyFolder_turnsScreenshotsOff()
    {
        mApp->setScreenshotsDirectory(mFolder->path());
        mApp->setScreenshotsDirectory(QString());
        QTest::keyClick(mWindow->windowHandle(), Qt::Key_Print);
        mApp->saveScreenshot();
        QCOMPARE(files(), QStringList());
        QCOMPARE(fakelogger::takeCalls(), QStringList());
    }

    void otherKeysAndReleases_saveNothing()
    {
        mApp->setScreenshotsDirectory(mFolder->path());
        for (Qt::Key key : {Qt::Key_A, Qt::Key_Slash, Qt::Key_SysReq, Qt::Key_Return})
            QTest::keyClick(mWindow->windowHandle(), key);
        QTest::keyRelease(mWindow->windowHandle(), Qt::Key_Print);
        QCOMPARE(files(), QStringList());
    }

    void keyThatAChildLeaves_saves()
    {
        mApp->setScreenshotsDirectory(mFolder->path());
        QTest::keyClick(mWindow->centralWidget(), Qt::Key_Print);
        QCOMPARE(files().size(), 1);
        QCOMPARE(mWindow->take(), QVector<int>{Qt::Key_Print});
    }

    void keyThatAChildTakes_savesNothing()
    {
        auto* const edit = new QLineEdit;
        mWindow->setCentralWidget(edit);
        mApp->setScreenshotsDirectory(mFolder->path());
        QTest::keyClick(edit, Qt::Key_Backslash);
        QCOMPARE(files(), QStringList());
    }

    void keyInAnotherWindow_savesNothing()
    {
        QWidget other;
        mApp->setScreenshotsDirectory(mFolder->path());
        QTest::keyClick(&other, Qt::Key_Print);
        QCOMPARE(files(), QStringList());
    }

    void keyThatWakesUp_isHeldBackAndSaves()
    {
        mApp->setScreenshotsDirectory(mFolder->path());
        mApp->setInactivityTimeout(3600000);
        QVERIFY(QMetaObject::invokeMethod(mApp, "onInactivityTimeout"));
        QSignalSpy const active(mApp, &QVorlinApplication::active);
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Print, Qt::NoModifier);
        QCoreApplication::sendEvent(&*mWindow, &key);
        QCOMPARE(active.size(), 1);
        QCOMPARE(mWindow->take(), QVector<int>{});
        QCOMPARE(files().size(), 1);
    }

    void file_isNamedAfterApplicationAndTime()
    {
        QCoreApplication::setApplicationName(QStringLiteral("camera %2 ui"));
        mApp->setScreenshotsDirectory(mFolder->path());
        QDateTime const before = QDateTime::currentDateTime();
        mApp->saveScreenshot();
        QDateTime const after = QDateTime::currentDateTime();
        QCoreApplication::setApplicationName(QString());

        QCOMPARE(files().size(), 1);
        QRegularExpression const form(
            QStringLiteral(R"(^camera %2 ui-(\d{4}\.\d\d\.\d\d-\d\d:\d\d:\d\d\.\d{3})\.png$)"));
        QRegularExpressionMatch const match = form.match(files().constFirst());
        QVERIFY2(match.hasMatch(), qPrintable(files().constFirst()));
        QDateTime const time =
            QDateTime::fromString(match.captured(1), QStringLiteral("yyyy.MM.dd-hh:mm:ss.zzz"));
        QVERIFY(before <= time && time <= after);
    }

    void picture_isTheWholeMainWindow()
    {
        mApp->setScreenshotsDirectory(mFolder->path());
        mApp->saveScreenshot();
        QCOMPARE(files().size(), 1);
        QImage const saved(mFolder->filePath(files().constFirst()), "png");
        QImage const expected = mWindow->grab().toImage();
        QCOMPARE(saved.size(), mWindow->size() * mWindow->devicePixelRatioF());
        QCOMPARE(saved.convertToFormat(QImage::Format_ARGB32),
            expected.convertToFormat(QImage::Format_ARGB32));
        QCOMPARE(saved.pixelColor(1, 1), QColor(0x33, 0x66, 0x99));
    }

    void success_isLogged()
    {
        mApp->setScreenshotsDirectory(mFolder->path());
        mApp->saveScreenshot();
        QCOMPARE(files().size(), 1);
        QCOMPARE(
            fakelogger::takeCalls(), QStringList{QStringLiteral("info: screenshot: saved %1/%2\n")
                                                     .arg(mFolder->path(), files().constFirst())});
    }

    void missingFolder_isMade()
    {
        QString const folder = mFolder->filePath(QStringLiteral("a/b c/d"));
        mApp->setScreenshotsDirectory(folder);
        mApp->saveScreenshot();
        QCOMPARE(QDir(folder).entryList(QDir::Files).size(), 1);
    }

    void folderThatCannotBeMade_isLogged()
    {
        QFile file(mFolder->filePath(QStringLiteral("file")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QString const folder = file.fileName() + QStringLiteral("/below");
        mApp->setScreenshotsDirectory(folder);
        mApp->saveScreenshot();
        QCOMPARE(fakelogger::takeCalls(),
            QStringList{QStringLiteral("error: screenshot: cannot make path %1\n").arg(folder)});
        QCOMPARE(files(), QStringList{QStringLiteral("file")});
    }

    // Where not even root can make a file.
    void folderThatTakesNoFile_isLogged()
    {
        mApp->setScreenshotsDirectory(QStringLiteral("/proc"));
        mApp->saveScreenshot();
        QStringList const calls = fakelogger::takeCalls();
        QCOMPARE(calls.size(), 1);
        QRegularExpression const form(QStringLiteral(
            R"(^error: screenshot: failed to save /proc/tst_application_screenshots-[\d.:-]{23}\.png\n$)"));
        QVERIFY2(form.match(calls.constFirst()).hasMatch(), qPrintable(calls.constFirst()));
    }

    void failure_doesNotHinderTheNext()
    {
        mApp->setScreenshotsDirectory(QStringLiteral("/proc"));
        mApp->saveScreenshot();
        mApp->setScreenshotsDirectory(mFolder->path());
        mApp->saveScreenshot();
        QCOMPARE(files().size(), 1);
    }

    void noMainWindow_isLogged()
    {
        mWindow.reset();
        QWidget other;
        other.show();
        mApp->setScreenshotsDirectory(mFolder->filePath(QStringLiteral("unmade")));
        mApp->saveScreenshot();
        QCOMPARE(fakelogger::takeCalls(),
            QStringList{QStringLiteral("warning: screenshot: main window not found")});
        QVERIFY(!QFile::exists(mFolder->filePath(QStringLiteral("unmade"))));
    }

    void mainWindow_isFoundAmongOthers()
    {
        QWidget others[5];
        for (QWidget& other : others)
            other.show();
        mWindow->hide();
        mApp->setScreenshotsDirectory(mFolder->path());
        mApp->saveScreenshot();
        QCOMPARE(files().size(), 1);
        QImage const saved(mFolder->filePath(files().constFirst()));
        QCOMPARE(saved.pixelColor(1, 1), QColor(0x33, 0x66, 0x99));
    }

private:
    QStringList files() const { return QDir(mFolder->path()).entryList(QDir::Files); }

    std::optional<QTemporaryDir> mFolder;
    QVorlinApplication* const mApp = qobject_cast<QVorlinApplication*>(qApp);
    std::optional<KeyWindow> mWindow;
};

QVORLIN_TEST_MAIN(QVorlinApplication, ScreenshotsTest)

#include "tst_screenshots.moc"
