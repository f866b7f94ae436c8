#ifndef STREAMREPORT_H
#define STREAMREPORT_H

#include <QJsonObject>
#include <QString>

#include "framestatistics.h"
#include "streamobserver.h"

/** What has been shown of a stream. */
struct StreamReport
{
    QString name;
    StreamState stream;
    FrameFigures frames;
    qint64 skippedTicks = 0;

    /** The figures; null stands for what was never seen. */
    QJsonObject toJson() const;
};

/** @p value without the digits that would only be noise. */
double rounded(double value);

#endif
