#include "screenshot.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>

#include "logger.h"

void saveScreenshot(QImage const& picture, QString const& directory)
{
    QDir const folder(directory);
    if (!folder.mkpath(QStringLiteral("."))) {
        logger::error("screenshot: can't make the folder %s", qPrintable(directory));
        return;
    }
    QString const path = folder.filePath(
        QStringLiteral("%1-%2.png")
            .arg(QCoreApplication::applicationName(),
                QDateTime::currentDateTime().toString(QStringLiteral("yyyy.MM.dd-hh:mm:ss.zzz"))));
    if (picture.save(path, "PNG"))
        logger::info("screenshot: saved %s", qPrintable(path));
    else
        logger::error("screenshot: can't save %s", qPrintable(path));
}
