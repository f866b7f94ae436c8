#ifndef LIVESTREAMTEST_H
#define LIVESTREAMTEST_H

#include <csignal>

#include <QObject>
#include <QTemporaryDir>
#include <QTest>

#include "childprogram.h"
#include "streamplace.h"

/** What tests of the viewer on the published stream "test camera" share. */
class LiveStreamTest : public QObject
{
protected:
    static void addRenderers()
    {
        QTest::addColumn<QString>("renderer");
        QTest::newRow("gl") << QStringLiteral("gl");
        QTest::newRow("image") << QStringLiteral("image");
    }

    QString path(char const* file) const { return mFolder.filePath(QString::fromLatin1(file)); }

    /** Arguments of a viewer of the stream that writes a report. */
    QStringList viewing(QStringList const& more) const
    {
        return QStringList{QStringLiteral("--stream"), QStringLiteral("test camera"),
                   QStringLiteral("--report"), path("report.json")} +
               more;
    }

    QJsonObject report() const { return readJson(path("report.json")); }

    /** Ends it as the system does. @return whether it leaves in good order */
    static bool end(ChildProgram& program)
    {
        program.sendSignal(SIGTERM);
        return program.exitStatus() == 0;
    }

    QString const mViewer = QStringLiteral("live-viewer");
    QString const mPublisher = QStringLiteral("shm-publish");
    QStringList const mPublishing{QStringLiteral("--name"), QStringLiteral("test camera"),
        QStringLiteral("--size"), QStringLiteral("320x180"), QStringLiteral("--rate"),
        QStringLiteral("25")};
    QByteArray const mShowing = "live-viewer: showing stream 'test camera'";
    QByteArray const mWaiting = "live-viewer: waiting for stream 'test camera'";

private:
    StreamPlace mPlace;
    QTemporaryDir mFolder;
};

#endif
