#ifndef REPORT_H
#define REPORT_H

#include <QByteArray>
#include <QImage>
#include <QString>

#include "framestatistics.h"
#include "streamobserver.h"

/** What a run has shown. */
struct Report
{
    QString streamName;
    StreamState stream;
    double seconds = 0;
    FrameFigures frames;
    qint64 skippedTicks = 0;

    /** The figures as JSON; null stands for what was never seen. */
    QByteArray toJson() const;
};

QByteArray toPng(QImage const& image);

/** Writes @p data to the file @p name. @return what went wrong, nothing when all is written */
QString writeFile(QString const& name, QByteArray const& data);

#endif
